#pragma once

#include <functional>
#include <optional>

#include "geoloom/SceneUnderstanding/boxes/Prediction.h"
#include "geoloom/SceneUnderstanding/locate/BoundingBox3D.h"

namespace geoloom {

namespace platform {
class ARFrame;
}

/// The bounds, in the world, of the feature points that a box's samples hit. Only the nearest hit of a sample
/// counts, and only if it is at least 0.3 m away from the camera. Returns nothing if no hit counts. `onHit`
/// is called with each point that counts.
[[nodiscard]] std::optional<BoundingBox3D> locateBox(
    const BoundingBox2& box, const platform::ARFrame& frame, double screenWidth, double screenHeight,
    const std::function<void(platform::SCNVector3)>& onHit = {});

}  // namespace geoloom
