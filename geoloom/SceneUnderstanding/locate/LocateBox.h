#pragma once

#include <functional>
#include <optional>

#include "geoloom/SceneUnderstanding/boxes/Prediction.h"
#include "geoloom/SceneUnderstanding/locate/BoundingBox3D.h"

namespace geoloom {

namespace platform {
class ARFrame;
}

/// The bounds, in the world, of the feature points that the samples of a box hit. A sample's nearest hit is
/// accepted if it is at least 0.3 m from the camera; other hits are ignored. Absent without an accepted hit.
/// `onHit` is called with each accepted point.
[[nodiscard]] std::optional<BoundingBox3D> locateBox(
    const BoundingBox2& box, const platform::ARFrame& frame, double screenWidth, double screenHeight,
    const std::function<void(platform::SCNVector3)>& onHit = {});

}  // namespace geoloom
