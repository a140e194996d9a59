#pragma once

namespace geoloom::platform {

/// A point or a vector in metres; y is the vertical axis.
struct SCNVector3 {
  float x = 0;
  float y = 0;
  float z = 0;
  friend bool operator==(const SCNVector3&, const SCNVector3&) = default;
};

}  // namespace geoloom::platform
