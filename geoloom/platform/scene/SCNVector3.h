#pragma once

#include "geoloom/Export.h"

namespace geoloom::platform {

/// A point or a vector in metres; y is the vertical axis.
struct SCNVector3 {
  float x = 0;
  float y = 0;
  float z = 0;
  friend bool operator==(const SCNVector3&, const SCNVector3&) = default;

  /// The Euclidean distance between two points in metres, the square root of dx * dx + dy * dy + dz * dz in
  /// 32-bit floats. Not inline, so that the result does not depend on the application's compiler flags.
  [[nodiscard]] GEOLOOM_EXPORT float distance(const SCNVector3& to) const;
};

}  // namespace geoloom::platform
