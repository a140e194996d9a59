#pragma once

namespace geoloom::platform {

/// A rotation as a unit quaternion with the real part w; by default the identity.
struct SCNQuaternion {
  float x = 0;
  float y = 0;
  float z = 0;
  float w = 1;
  friend bool operator==(const SCNQuaternion&, const SCNQuaternion&) = default;
};

}  // namespace geoloom::platform
