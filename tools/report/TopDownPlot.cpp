#include "tools/report/TopDownPlot.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>

#include "tools/report/Drawing.h"
#include "tools/report/RoomPlan.h"

namespace geoloom::tools {
namespace {

constexpr double side = 1000;
constexpr double margin = 48;
constexpr double legendHeight = 96;
constexpr Ink floorInk{1, 1, 1};
constexpr Ink wallInk{0.25, 0.25, 0.27};
constexpr Ink windowInk{0.45, 0.72, 0.95};
constexpr Ink furnitureInk{0.93, 0.9, 0.84};
constexpr Ink furnitureEdge{0.6, 0.55, 0.48};
constexpr Ink mappingInk{0.12, 0.43, 0.86};
constexpr Ink localizationInk{0.86, 0.23, 0.2};
constexpr Ink assetInk{0.85, 0.5, 0};
constexpr Ink truthInk{0.08, 0.55, 0.24};
constexpr std::int64_t leastSeen = 5;

/// Metres over the ground of the map.
using Ground = Point;

struct Named {
  std::vector<Ground> corners;  ///< one for a point
  std::string name;
};

/// All that is drawn, in the map's coordinates.
struct Plan {
  RoomPlan room;
  std::vector<Ground> mappingWalk;
  std::vector<Ground> localizationWalk;
  std::vector<Named> mappingTracks;
  std::vector<Named> localizationTracks;
  std::vector<Named> placed;
  std::vector<Named> relocalized;
  double predictedError = 0;  ///< metres, of the relocalized assets; 0 if it is not known
  std::vector<Named> truth;
};

Ground moved(const GroundMotion& motion, double x, double z) {
  const auto [mx, mz] = motion.apply(x, z);
  return {mx, mz};
}

std::vector<Ground> walkOf(const Trace& trace, const GroundMotion& toMap) {
  std::vector<Ground> walk;
  walk.reserve(trace.frames.size());
  for (const TracedFrame& frame : trace.frames)
    walk.push_back(
        moved(toMap, static_cast<double>(frame.position.x), static_cast<double>(frame.position.z)));
  return walk;
}

std::vector<Named> tracksOf(const Trace& trace, const GroundMotion& toMap) {
  std::vector<Named> boxes;
  for (const TracedTrack& track : trace.tracks) {
    if (track.seenFrames < leastSeen) continue;
    const BoundingBox3D& b = track.box;
    Named box{{}, track.name};
    for (const auto& [x, z] : {std::pair{b.minX, b.minZ}, std::pair{b.maxX, b.minZ},
                               std::pair{b.maxX, b.maxZ}, std::pair{b.minX, b.maxZ}})
      box.corners.push_back(moved(toMap, static_cast<double>(x), static_cast<double>(z)));
    boxes.push_back(std::move(box));
  }
  return boxes;
}

std::vector<Named> pointsOf(const std::vector<TracedAsset>& assets, const GroundMotion& toMap) {
  std::vector<Named> points;
  points.reserve(assets.size());
  for (const TracedAsset& a : assets)
    points.push_back(
        {{moved(toMap, static_cast<double>(a.position.x), static_cast<double>(a.position.z))}, a.id});
  return points;
}

Plan planOf(const Trace& mapping, const Trace& localization, const std::optional<Placements>& truth,
            bool tracked) {
  Plan plan;
  if (!mapping.recordings.empty()) plan.room = roomPlanOf(mapping.recordings.front());
  plan.mappingWalk = walkOf(mapping, {});
  plan.placed = pointsOf(mapping.placed, {});
  if (tracked) plan.mappingTracks = tracksOf(mapping, {});
  const std::optional<GroundMotion> toMap = mapFromSession(localization);
  if (!toMap) return plan;
  plan.localizationWalk = walkOf(localization, *toMap);
  plan.relocalized = pointsOf(localization.relocalized.back().assets, *toMap);
  plan.predictedError = predictedErrorOf(localization).value_or(0);
  if (tracked) plan.localizationTracks = tracksOf(localization, *toMap);
  if (truth) {
    for (const Placement& asset : trueAssetsInMap(localization, *truth))
      plan.truth.push_back({{{asset.x, asset.z}}, asset.id});
  }
  return plan;
}

/// From metres to pixels, so that everything fits, with a wall of the room at the top.
class Scale {
 public:
  explicit Scale(const Plan& plan) {
    if (plan.room.walls.size() > 1) {
      const Ground& a = plan.room.walls[0];
      const Ground& b = plan.room.walls[1];
      turn_ = std::atan2(b.y - a.y, b.x - a.x);
    }
    double x0 = std::numeric_limits<double>::max();
    double x1 = std::numeric_limits<double>::lowest();
    double y0 = x0;
    double y1 = x1;
    const auto include = [&](const std::vector<Ground>& points) {
      for (const Ground& point : points) {
        const Point p = turned(point);
        if (!std::isfinite(p.x) || !std::isfinite(p.y)) continue;
        x0 = std::min(x0, p.x);
        x1 = std::max(x1, p.x);
        y0 = std::min(y0, p.y);
        y1 = std::max(y1, p.y);
      }
    };
    include({{0, 0}});
    include(plan.room.walls);
    include(plan.mappingWalk);
    include(plan.localizationWalk);
    for (const auto* list :
         {&plan.mappingTracks, &plan.localizationTracks, &plan.placed, &plan.relocalized, &plan.truth}) {
      for (const Named& named : *list) include(named.corners);
    }
    pixelsPerMetre_ = (side - 2 * margin) / std::max({x1 - x0, y1 - y0, 0.5});
    height_ = std::max(0.4 * side, (y1 - y0) * pixelsPerMetre_ + 2 * margin);
    centre_ = {(x0 + x1) / 2, (y0 + y1) / 2};
  }

  [[nodiscard]] Point at(const Ground& point) const {
    const Point p = turned(point);
    return {side / 2 + (p.x - centre_.x) * pixelsPerMetre_,
            legendHeight + height_ / 2 + (p.y - centre_.y) * pixelsPerMetre_};
  }
  [[nodiscard]] std::vector<Point> at(const std::vector<Ground>& points) const {
    std::vector<Point> result;
    result.reserve(points.size());
    for (const Ground& p : points) result.push_back(at(p));
    return result;
  }
  [[nodiscard]] double pixelsPerMetre() const { return pixelsPerMetre_; }
  /// Of the picture, with its legend.
  [[nodiscard]] double height() const { return legendHeight + height_; }

 private:
  [[nodiscard]] Point turned(const Ground& p) const {
    const double c = std::cos(turn_);
    const double s = std::sin(turn_);
    return {c * p.x + s * p.y, c * p.y - s * p.x};
  }

  double turn_ = 0;
  double pixelsPerMetre_ = 1;
  double height_ = 0;
  Point centre_;
};

Point centreOf(const std::vector<Point>& corners) {
  Point sum;
  for (const Point& p : corners) sum = {sum.x + p.x, sum.y + p.y};
  const auto n = static_cast<double>(corners.size());
  return {sum.x / n, sum.y / n};
}

void drawRoom(Drawing& drawing, const Scale& scale, const RoomPlan& room, bool names) {
  if (!room.walls.empty()) drawing.area(scale.at(room.walls), floorInk, wallInk, 7);
  for (const auto& window : room.windows) drawing.line(scale.at(window), windowInk, 5);
  for (const RoomPlan::Thing& thing : room.things) {
    const std::vector<Point> corners = scale.at(thing.corners);
    drawing.area(corners, furnitureInk, furnitureEdge);
    if (names) drawing.labelArea(centreOf(corners), thing.name, TEXT);
  }
}

void drawWalk(Drawing& drawing, const Scale& scale, const std::vector<Ground>& walk, Ink ink) {
  if (walk.empty()) return;
  const std::vector<Point> points = scale.at(walk);
  drawing.line(points, ink, 2);
  drawing.ring(points.front(), 6, ink, 3);
}

void drawTracks(Drawing& drawing, const Scale& scale, const std::vector<Named>& tracks, Ink ink) {
  for (const Named& track : tracks) {
    const std::vector<Point> corners = scale.at(track.corners);
    drawing.area(corners, {ink.red, ink.green, ink.blue, 0.1}, ink);
    drawing.labelArea(centreOf(corners), track.name, ink);
  }
}

void drawScaleBar(Drawing& drawing, const Scale& scale) {
  const double metres = scale.pixelsPerMetre() * 2 > side / 2 ? 0.5 : 1;
  const Point left{margin, drawing.height() - 14};
  const Point right{left.x + metres * scale.pixelsPerMetre(), left.y};
  drawing.line({{left.x, left.y - 6}, left, right, {right.x, right.y - 6}}, wallInk, 2);
  drawing.text({left.x + 6, left.y - 7}, fmt::format("{} m", metres), wallInk, 13);
}

void drawLegend(Drawing& drawing, bool isLocalized) {
  drawing.line({{24, 22}, {54, 22}}, mappingInk, 2);
  drawing.text({64, 28}, "way of the mapping walk, from its ring on", mappingInk);
  drawing.line({{24, 46}, {54, 46}}, localizationInk, 2);
  drawing.text({64, 52},
               isLocalized ? "way of the localization walk" : "no transform: the second walk is not drawn",
               localizationInk);
  drawing.dot({39, 70}, 5, assetInk);
  drawing.text({64, 76}, "asset as placed", assetInk);
  drawing.cross({239, 70}, 7, localizationInk);
  drawing.text({256, 76}, "where it came back", localizationInk);
  drawing.ring({459, 70}, 11, truthInk);
  drawing.text({480, 76}, "where it truly is", truthInk);
  drawing.ring({659, 70}, 8, localizationInk, 1);
  drawing.text({676, 76}, "predicted error", localizationInk);
}

}  // namespace

std::pair<double, double> GroundMotion::apply(double px, double pz) const {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  return {c * px + s * pz + x, -s * px + c * pz + z};
}

GroundMotion GroundMotion::inverse() const {
  const auto [bx, bz] = GroundMotion{-angle, 0, 0}.apply(x, z);
  return {-angle, -bx, -bz};
}

std::optional<GroundMotion> mapFromSession(const Trace& localization) {
  if (localization.relocalized.empty() || !localization.relocalized.back().transform) return std::nullopt;
  const TracedTransform& t = *localization.relocalized.back().transform;
  return GroundMotion{static_cast<double>(t.theta), static_cast<double>(t.translation.x),
                      static_cast<double>(t.translation.z)}
      .inverse();
}

std::optional<double> predictedErrorOf(const Trace& localization) {
  if (localization.relocalized.empty()) return std::nullopt;
  std::optional<double> metres;
  for (const TracedLocalization& answer : localization.localizations) {
    if (answer.reason == "accepted") metres = answer.predictedErrorMeters;
  }
  return metres;
}

std::vector<Placement> trueAssetsInMap(const Trace& localization, const Placements& truth) {
  const std::optional<GroundMotion> toMap = mapFromSession(localization);
  if (!toMap || localization.recordings.empty()) return {};
  std::vector<Placement> assets = inSession(truth, localization.recordings.front().sessionFromRecording);
  const double rise = static_cast<double>(localization.relocalized.back().transform->translation.y);
  for (Placement& asset : assets) {
    std::tie(asset.x, asset.z) = toMap->apply(asset.x, asset.z);
    asset.y -= rise;
    asset.orientation += toMap->angle;
  }
  return assets;
}

platform::PNGImage topDownPlot(const Trace& mapping, const Trace& localization,
                               const std::optional<Placements>& truth, bool tracked) {
  const Plan plan = planOf(mapping, localization, truth, tracked);
  const Scale scale(plan);
  Drawing drawing(static_cast<std::size_t>(side), static_cast<std::size_t>(scale.height()), PAPER);
  drawRoom(drawing, scale, plan.room, !tracked);
  drawWalk(drawing, scale, plan.mappingWalk, mappingInk);
  drawWalk(drawing, scale, plan.localizationWalk, localizationInk);
  for (const Named& asset : plan.placed) {
    drawing.dot(scale.at(asset.corners[0]), 5, assetInk);
    drawing.label(scale.at(asset.corners[0]), asset.name, assetInk);
  }
  for (const Named& asset : plan.truth) drawing.ring(scale.at(asset.corners[0]), 11, truthInk);
  for (const Named& asset : plan.relocalized) {
    drawing.cross(scale.at(asset.corners[0]), 7, localizationInk);
    if (plan.predictedError > 0)
      drawing.ring(scale.at(asset.corners[0]), plan.predictedError * scale.pixelsPerMetre(), localizationInk,
                   1);
  }
  drawTracks(drawing, scale, plan.mappingTracks, mappingInk);
  drawTracks(drawing, scale, plan.localizationTracks, localizationInk);
  drawLegend(drawing, mapFromSession(localization).has_value());
  drawScaleBar(drawing, scale);
  drawing.caption(
      tracked ? "From above: the objects that each walk tracked, as boxes in the map's coordinates."
              : "From above: the walk that made the map, a later one, and where it found the assets.");
  return drawing.finish();
}

}  // namespace geoloom::tools
