#pragma once

#include <string>
#include <vector>

#include "tools/replay/Trace.h"
#include "tools/report/RoomPlan.h"

namespace geoloom::tools {

/// One thing of a room and what a session tracked at its place.
struct TrackedThing {
  std::string name;
  std::size_t boxes = 0;                ///< tracked under its class
  double metres = 0;                    ///< from the thing's centre to that of the best seen of these boxes
  double heightDifference = 0;          ///< of that box and the thing
  std::vector<std::string> otherNames;  ///< of boxes under other classes
};

struct Tracking {
  std::vector<TrackedThing> things;
  std::vector<std::string> elsewhere;  ///< names of boxes where no thing stands
};

/// Holds well-seen tracked boxes (five sightings or more) against the things of a known class. A box belongs
/// to the thing over whose ground, widened by 0.35 m, its centre lies; to the nearest of its class if there
/// are several, else to the nearest.
[[nodiscard]] Tracking trackingOf(const Trace& trace, const RoomPlan& room);

/// A table for people, headed.
[[nodiscard]] std::vector<std::string> tableOf(const Tracking& tracking);

}  // namespace geoloom::tools
