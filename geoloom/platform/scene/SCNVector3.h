#pragma once

#include <cmath>

namespace geoloom::platform {

/// A point or a vector in metres; y is the vertical axis.
struct SCNVector3 {
  float x = 0;
  float y = 0;
  float z = 0;
  friend bool operator==(const SCNVector3&, const SCNVector3&) = default;

  /// The Euclidean distance between the two points, in metres, computed in 32-bit floats from left to right.
  [[nodiscard]] float distance(const SCNVector3& to) const {
    const float dx = x - to.x;
    const float dy = y - to.y;
    const float dz = z - to.z;
    return std::sqrt(dx * dx + dy * dy + dz * dz);
  }
};

}  // namespace geoloom::platform
