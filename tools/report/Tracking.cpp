#include "tools/report/Tracking.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace geoloom::tools {
namespace {

constexpr std::int64_t leastSeen = 5;
constexpr double reach = 0.35;

Point middleOf(const std::vector<Point>& corners) {
  return {(corners[0].x + corners[2].x) / 2, (corners[0].y + corners[2].y) / 2};
}

/// Metres from a point to a rectangle on the ground; 0 inside.
double distanceTo(const std::vector<Point>& corners, const Point& p) {
  const Point middle = middleOf(corners);
  const auto outside = [&](std::size_t from, std::size_t to) {
    const double dx = corners[to].x - corners[from].x;
    const double dy = corners[to].y - corners[from].y;
    const double length = std::hypot(dx, dy);
    const double along = length > 0 ? ((p.x - middle.x) * dx + (p.y - middle.y) * dy) / length : 0;
    return std::max(0.0, std::abs(along) - length / 2);
  };
  return std::hypot(outside(0, 1), outside(1, 2));
}

double distanceBetween(const RoomPlan::Thing& thing, const std::array<double, 3>& centre) {
  const Point middle = middleOf(thing.corners);
  return std::hypot(middle.x - centre[0], thing.middle - centre[1], middle.y - centre[2]);
}

std::array<double, 3> centreOf(const TracedTrack& track) {
  const auto c = track.box.center();
  return {static_cast<double>(c.x), static_cast<double>(c.y), static_cast<double>(c.z)};
}

/// The thing that a box belongs to, or none.
const RoomPlan::Thing* thingOf(const RoomPlan& room, const TracedTrack& track) {
  const std::array<double, 3> centre = centreOf(track);
  const RoomPlan::Thing* best = nullptr;
  const auto rank = [&](const RoomPlan::Thing& thing) {
    return std::pair(thing.type != track.name, distanceBetween(thing, centre));
  };
  for (const RoomPlan::Thing& thing : room.things) {
    if (thing.type.empty() || distanceTo(thing.corners, {centre[0], centre[2]}) > reach) continue;
    if (best == nullptr || rank(thing) < rank(*best)) best = &thing;
  }
  return best;
}

}  // namespace

Tracking trackingOf(const Trace& trace, const RoomPlan& room) {
  Tracking tracking;
  std::map<const RoomPlan::Thing*, std::vector<const TracedTrack*>> boxes;
  for (const TracedTrack& track : trace.tracks) {
    if (track.seenFrames < leastSeen) continue;
    const RoomPlan::Thing* thing = thingOf(room, track);
    if (thing == nullptr) {
      tracking.elsewhere.push_back(track.name);
    } else {
      boxes[thing].push_back(&track);
    }
  }
  for (const RoomPlan::Thing& thing : room.things) {
    if (thing.type.empty()) continue;
    TrackedThing found;
    found.name = thing.name;
    std::int64_t seen = 0;
    for (const TracedTrack* track : boxes[&thing]) {
      if (track->name != thing.type) {
        found.otherNames.push_back(track->name);
        continue;
      }
      ++found.boxes;
      if (track->seenFrames <= seen) continue;
      seen = track->seenFrames;
      found.metres = distanceBetween(thing, centreOf(*track));
      found.heightDifference = static_cast<double>(track->box.maxY - track->box.minY) - thing.height;
    }
    tracking.things.push_back(std::move(found));
  }
  return tracking;
}

std::vector<std::string> tableOf(const Tracking& tracking) {
  std::vector<std::string> lines{fmt::format("{:<16}  {:>5}  {:>7}  {:>7}  {}", "object", "boxes", "centre",
                                             "height", "also tracked here as")};
  for (const TrackedThing& t : tracking.things) {
    const std::string others = fmt::format("{}", fmt::join(t.otherNames, ", "));
    lines.push_back(t.boxes == 0
                        ? fmt::format("{:<16}  {:>5}  {:>7}  {:>7}  {}", t.name, "none", "-", "-", others)
                        : fmt::format("{:<16}  {:>5}  {:5.2f} m  {:+5.2f} m  {}", t.name, t.boxes, t.metres,
                                      t.heightDifference, others));
  }
  if (!tracking.elsewhere.empty())
    lines.push_back(fmt::format("tracked elsewhere: {}", fmt::join(tracking.elsewhere, ", ")));
  return lines;
}

}  // namespace geoloom::tools
