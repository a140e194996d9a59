#pragma once

#include <array>
#include <cstddef>

#include "geoloom/platform/foundation/simd.h"
#include "geoloom/recording/TUMFolder.h"

/// Converts a recording's camera to the camera of a phone held upright. Pure geometry.
namespace geoloom {

/// A rigid transform in double precision: x becomes rotation * x + translation. `rotation` is row-major.
struct RigidTransform {
  std::array<std::array<double, 3>, 3> rotation{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  std::array<double, 3> translation{};

  [[nodiscard]] std::array<double, 3> apply(const std::array<double, 3>& point) const;
  [[nodiscard]] platform::simd_float4x4 matrix() const;
};

/// Applies `b` first, then `a`.
[[nodiscard]] RigidTransform operator*(const RigidTransform& a, const RigidTransform& b);

/// Converts a point of the recording's z-up world to the y-up world: (x, z, -y).
[[nodiscard]] std::array<double, 3> yUp(const std::array<double, 3>& zUp);

/// The upright camera (x right, y up, looking along -z) in the y-up world.
[[nodiscard]] RigidTransform uprightCamera(const TimedPose& pose);

/// The sensor's camera of a device held upright: x points down in the upright picture, y to its right.
[[nodiscard]] RigidTransform sensorCamera(const RigidTransform& uprightCamera);

/// The transform to a phone's session coordinates: the camera's position becomes the origin and its heading
/// zero (along -z seen from above); y stays up. If the camera looks straight up or down, its heading is that
/// of the picture's lower or upper edge.
[[nodiscard]] RigidTransform sessionFromWorld(const RigidTransform& uprightCamera);

/// The part of an upright picture that is used as the sensor's image, in pixels.
struct PortraitWindow {
  std::size_t x = 0;
  std::size_t y = 0;
  std::size_t width = 0;
  std::size_t height = 0;
  friend bool operator==(const PortraitWindow&, const PortraitWindow&) = default;
};

/// The largest centred window with width / height = `aspect`, rounded to whole pixels. Preconditions: the
/// picture is not empty, 0 < aspect <= 1.
[[nodiscard]] PortraitWindow portraitWindow(std::size_t width, std::size_t height, double aspect);

/// The calibration of the sensor's image, which is the window turned 90 degrees counter-clockwise: pixel (u,
/// v) of the window becomes (v, width - 1 - u).
[[nodiscard]] TUMCalibration sensorCalibration(const TUMCalibration& upright, const PortraitWindow& window);

}  // namespace geoloom
