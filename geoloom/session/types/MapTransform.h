#pragma once

#include "geoloom/platform/scene/SCNVector3.h"

namespace geoloom {

/// The rigid transform from a map's coordinates to those of the AR session: a rotation about the vertical
/// axis (y), then a translation. A point (x, y, z) of the map lies at
///
///     translation + (cos θ · x + sin θ · z,  y,  -sin θ · x + cos θ · z),  θ = rotation
///
/// in the AR session. Seen from above, a positive θ turns counterclockwise, from the x axis towards -z.
struct MapTransform {
  /// Metres.
  platform::SCNVector3 translation;
  /// θ in radians.
  float rotation = 0;
};

}  // namespace geoloom
