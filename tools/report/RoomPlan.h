#pragma once

#include <string>
#include <vector>

#include "tools/replay/Trace.h"
#include "tools/report/Drawing.h"

namespace geoloom::tools {

/// A room from above: metres over the ground of a session, x and z.
struct RoomPlan {
  struct Thing {
    std::string name;
    std::string type;  ///< its class; empty if the truth tells none
    std::vector<Point> corners;
    double middle = 0;  ///< of its height, above the session's origin
    double height = 0;
  };
  std::vector<Point> walls;
  std::vector<std::vector<Point>> windows;
  std::vector<Thing> things;  ///< the one with the lowest top first
};

/// What the truth.json beside the recording tells of its room; an empty plan without one.
[[nodiscard]] RoomPlan roomPlanOf(const TracedRecording& recording);

}  // namespace geoloom::tools
