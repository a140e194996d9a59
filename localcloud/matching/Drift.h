#pragma once

#include <cstdint>
#include <vector>

#include "localcloud/matching/Sighting.h"

namespace geoloom::localcloud {

/// How a session's coordinates move over the ground against the room, per frame: tracking drifts.
struct Drift {
  double x = 0;
  double z = 0;
  double angle = 0;           ///< about the session's origin, radians
  double groundVariance = 0;  ///< of x and z
  double angleVariance = 0;

  /// Where a point that was seen at `p` that many frames ago is now.
  [[nodiscard]] Point now(const Point& p, double age) const;
  /// Variance that the drift's uncertainty adds to a position of that age along each ground axis, m².
  [[nodiscard]] double variance(const Point& p, double age) const;
};

/// Sightings of one object, and the standard deviation of one of them along an axis.
struct Track {
  std::vector<const Sighting*> sightings;
  double scatter = 0;
};

/// The drift by which objects seen at different times moved together: least squares with a prior, shrunk to
/// nothing where it does not stand out from the scatter.
[[nodiscard]] Drift estimateDrift(const std::vector<Track>& tracks, std::int64_t lastFrame);

}  // namespace geoloom::localcloud
