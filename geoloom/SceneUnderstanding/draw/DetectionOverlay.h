#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "geoloom/SceneUnderstanding/locate/BoundingBox3D.h"
#include "geoloom/platform/scene/SCNScene.h"
#include "geoloom/platform/ui/UIColor.h"

/// What scene understanding draws into the application's scene. World coordinates, metres; nodes go under the
/// scene's root. Runs on the thread that calls it.
namespace geoloom {

/// Draws a box with its label, "<name> (<confidence, two decimals>)", and returns its 14 nodes: twelve edges,
/// the label, the mark at the centre.
std::vector<std::shared_ptr<platform::SCNNode>> drawTrackedObject(double confidence, std::string_view name,
                                                                  const BoundingBox3D& bbox,
                                                                  platform::UIColor color,
                                                                  platform::SCNScene& scene);

/// Marks a point where a hit test found something. The mark stays.
void hitMarker(platform::SCNVector3 at, platform::SCNScene& scene);

/// Makes `node` a line between two points, a thin cylinder that points from one to the other, or a small
/// sphere where both are the same. Does not attach it.
void lineNode(platform::SCNNode& node, platform::SCNVector3 from, platform::SCNVector3 to, double radius,
              platform::UIColor color);

}  // namespace geoloom
