#pragma once

#include <cmath>
#include <cstdint>
#include <string>

namespace geoloom::localcloud {

/// Metres, y up.
struct Point {
  double x = 0;
  double y = 0;
  double z = 0;
};

inline double groundDistance(const Point& a, const Point& b) {
  return std::hypot(a.x - b.x, a.z - b.z);
}
inline double distance(const Point& a, const Point& b) {
  return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

/// One object in one frame, in the coordinates of the session that saw it.
struct Sighting {
  std::int64_t frame = 0;  ///< number of the detection batch; grows while the camera moves
  std::string name;
  Point position;
};

}  // namespace geoloom::localcloud
