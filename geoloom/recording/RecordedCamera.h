#pragma once

#include <array>
#include <cstddef>

#include "geoloom/platform/foundation/simd.h"
#include "geoloom/recording/TUMFolder.h"

/// From a recording's published camera to the camera of a phone held upright: pure geometry.
namespace geoloom {

/// A rigid motion in double precision: x becomes rotation * x + translation; rotation by rows.
struct RigidTransform {
  std::array<std::array<double, 3>, 3> rotation{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  std::array<double, 3> translation{};

  [[nodiscard]] std::array<double, 3> apply(const std::array<double, 3>& point) const;
  [[nodiscard]] platform::simd_float4x4 matrix() const;
};

/// The motion that does `b` first, then `a`.
[[nodiscard]] RigidTransform operator*(const RigidTransform& a, const RigidTransform& b);

/// A point of the published world, z up, in the y-up world: (x, z, -y).
[[nodiscard]] std::array<double, 3> yUp(const std::array<double, 3>& zUp);

/// The upright camera (x right, y up, looking along -z) in the y-up world.
[[nodiscard]] RigidTransform uprightCamera(const TimedPose& pose);

/// The sensor's camera of a device held upright: x is down in the upright picture, y is its right.
[[nodiscard]] RigidTransform sensorCamera(const RigidTransform& uprightCamera);

/// The session's coordinates as a phone begins them: the camera's place is the origin and its heading zero
/// (it looks along -z, as seen from above); y stays up. Looking straight up or down, the heading is that of
/// the picture's upper or lower edge.
[[nodiscard]] RigidTransform sessionFromWorld(const RigidTransform& uprightCamera);

/// The part of an upright picture that becomes the sensor's image, in pixels.
struct PortraitWindow {
  std::size_t x = 0;
  std::size_t y = 0;
  std::size_t width = 0;
  std::size_t height = 0;
  friend bool operator==(const PortraitWindow&, const PortraitWindow&) = default;
};

/// The largest centred window with width : height = `aspect` as near as whole pixels allow. Preconditions: a
/// picture that is not empty, 0 < aspect <= 1.
[[nodiscard]] PortraitWindow portraitWindow(std::size_t width, std::size_t height, double aspect);

/// The calibration of the sensor's image: the window, turned 90 degrees counter-clockwise. The upright pixel
/// (u, v) of the window lies at (v, width - 1 - u) there.
[[nodiscard]] TUMCalibration sensorCalibration(const TUMCalibration& upright, const PortraitWindow& window);

}  // namespace geoloom
