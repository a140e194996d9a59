#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "geoloom/SceneUnderstanding/locate/BoundingBox3D.h"
#include "geoloom/platform/scene/SCNScene.h"
#include "geoloom/platform/ui/UIColor.h"

/// Draws detections into the application's scene, in world coordinates (metres), by adding nodes to its root.
namespace geoloom {

/// Draws a box with its label, "<name> (<confidence, two decimals>)". Returns its 14 nodes: the twelve edges,
/// the label and the mark at the centre.
std::vector<std::shared_ptr<platform::SCNNode>> drawTrackedObject(double confidence, std::string_view name,
                                                                  const BoundingBox3D& bbox,
                                                                  platform::UIColor color,
                                                                  platform::SCNScene& scene);

/// Marks an accepted hit point. The mark is never removed.
void hitMarker(platform::SCNVector3 at, platform::SCNScene& scene);

/// Makes `node` a line between two points: a cylinder that points from one to the other, or a sphere if both
/// are equal. The caller adds it to a scene.
void lineNode(platform::SCNNode& node, platform::SCNVector3 from, platform::SCNVector3 to, double radius,
              platform::UIColor color);

}  // namespace geoloom
