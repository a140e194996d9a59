#include "geoloom/platform/scene/SCNVector3.h"

#include <cmath>

namespace geoloom::platform {

float SCNVector3::distance(const SCNVector3& to) const {
  const float dx = x - to.x;
  const float dy = y - to.y;
  const float dz = z - to.z;
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

}  // namespace geoloom::platform
