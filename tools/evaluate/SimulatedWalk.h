#pragma once

#include <vector>

#include "localcloud/matching/RigidTransform.h"
#include "localcloud/matching/Sighting.h"
#include "tools/evaluate/Room.h"

namespace geoloom::tools::evaluation {

/// How a session's coordinates differ from the room's.
struct WalkConditions {
  double originDistance = 3;  ///< of the session's origin from the room's, metres at most
  double driftPerMinute = 0;  ///< metres; the heading drifts by 12° for each
  double misnaming = 1;       ///< factor on the rate of wrong names
};

/// The rows of one session, and the truth about it.
struct SimulatedWalk {
  std::vector<localcloud::Sighting> sightings;
  double framesPerSecond = 1;
  localcloud::RigidTransform start;  ///< from the room's coordinates to the session's at frame 0
  double driftAngle = 0;             ///< per frame
  Point drift;                       ///< per frame

  /// Where a point of the room is in the session's coordinates while `frame` is taken.
  [[nodiscard]] Point at(const Point& p, double frame) const;
};

/// A person walks through the room and looks around. Sightings are in order of frame.
[[nodiscard]] SimulatedWalk walkThrough(const NoiseModel& noise, const Room& room,
                                        const WalkConditions& conditions, Chance& chance);

}  // namespace geoloom::tools::evaluation
