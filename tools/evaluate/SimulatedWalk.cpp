#include "tools/evaluate/SimulatedWalk.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

namespace geoloom::tools::evaluation {
namespace {

using localcloud::Sighting;

constexpr double PI = std::numbers::pi;
constexpr double EYE_HEIGHT = 1.5;
constexpr double STRIDE = 0.6;  // metres a second
constexpr std::size_t SIDES = 8;

struct Camera {
  Point position;
  double heading = 0;
};

/// Strolls between points of the room and looks at one object after the other, a third of the time anywhere.
class Path {
 public:
  Path(const Room& room, double framesPerSecond, Chance& chance)
      : room_(room),
        step_(STRIDE / framesPerSecond),
        turn_(1.2 / framesPerSecond),
        chance_(chance),
        looked_(chance.below(100)) {
    camera_.position = anywhere();
    goal_ = anywhere();
    target_ = somewhereToLook();
    camera_.heading = chance_.uniform(-PI, PI);
  }

  const Camera& next() {
    Point& at = camera_.position;
    const double far = localcloud::groundDistance(at, goal_);
    if (far < 2 * step_)
      goal_ = anywhere();
    else
      at = {at.x + (goal_.x - at.x) * step_ / far, at.y, at.z + (goal_.z - at.z) * step_ / far};
    const double wanted = std::atan2(target_.z - at.z, target_.x - at.x);
    const double turn = std::remainder(wanted - camera_.heading, 2 * PI);
    camera_.heading += std::clamp(turn, -turn_, turn_);
    if (std::abs(turn) < turn_ && chance_.with(0.6 * turn_)) target_ = somewhereToLook();
    return camera_;
  }

 private:
  Point anywhere() {
    return {chance_.uniform(-0.35, 0.35) * room_.width, EYE_HEIGHT,
            chance_.uniform(-0.35, 0.35) * room_.depth};
  }
  Point somewhereToLook() {
    if (room_.objects.empty() || chance_.with(0.33))
      return {chance_.uniform(-0.5, 0.5) * room_.width, 0, chance_.uniform(-0.5, 0.5) * room_.depth};
    return room_.objects[looked_++ % room_.objects.size()].middle;
  }

  const Room& room_;
  double step_;
  double turn_;
  Chance& chance_;
  Camera camera_;
  Point goal_;
  Point target_;
  std::size_t looked_;
};

/// What changes slowly in how one object is seen.
struct View {
  Point error;      ///< in standard deviations
  double leak = 0;  ///< metres behind the object, 0 without a leak
  int leakFrames = 0;
  std::string name;
  int nameFrames = 0;
};

class Detector {
 public:
  Detector(const NoiseModel& noise, const Room& room, double misnaming, Chance& chance)
      : noise_(noise), room_(room), misnaming_(misnaming), chance_(chance), views_(room.objects.size()) {
    for (View& view : views_) view.error = {chance_.normal(), chance_.normal(), chance_.normal()};
  }

  void look(const Camera& camera, std::int64_t frame, std::vector<Sighting>& seen) {
    for (std::size_t i = 0; i < room_.objects.size(); ++i) {
      const RoomObject& object = room_.objects[i];
      View& view = views_[i];
      change(view, object, camera);
      if (!chance_.with(rate(object, camera))) continue;
      const Point p = position(object, view, camera);
      seen.push_back({frame, view.name, p});
      const auto confused = noise_.confusions.find(object.name);
      if (confused != noise_.confusions.end() && chance_.with(noise_.doubledName * misnaming_))
        seen.push_back({frame, chance_.of(confused->second), jittered(p, 0.02)});
    }
    for (const RoomObject& ghost : room_.ghosts) {
      if (isVisible(ghost.middle, camera) && chance_.with(noise_.ghostRate))
        seen.push_back({frame, ghost.name, jittered(ghost.middle, noise_.ghostScatter)});
    }
  }

 private:
  Point jittered(const Point& p, double by) {
    return {p.x + by * chance_.normal(), p.y + by * chance_.normal(), p.z + by * chance_.normal()};
  }

  [[nodiscard]] bool isVisible(const Point& p, const Camera& camera) const {
    const double far = localcloud::groundDistance(p, camera.position);
    const double bearing = std::atan2(p.z - camera.position.z, p.x - camera.position.x) - camera.heading;
    return far > noise_.nearest && far < noise_.farthest &&
           std::abs(std::remainder(bearing, 2 * PI)) < noise_.fieldOfView / 2;
  }

  /// The side from which an object is seen decides how well the network knows it.
  [[nodiscard]] double rate(const RoomObject& object, const Camera& camera) const {
    if (!isVisible(object.middle, camera)) return 0;
    const double far = localcloud::distance(object.middle, camera.position);
    const double from = std::atan2(camera.position.z - object.middle.z, camera.position.x - object.middle.x) +
                        object.turn + 2 * PI;
    const auto side = static_cast<std::uint64_t>(from / (2 * PI) * SIDES) % SIDES;
    std::uint64_t hash = side * 0x9E3779B97F4A7C15U;
    for (const char c : object.name) hash = (hash ^ static_cast<std::uint64_t>(c)) * 0xBF58476D1CE4E5B9U;
    const double ease =
        noise_.worstSide + (1 - noise_.worstSide) * static_cast<double>(hash >> 40U) * 0x1p-24;
    return noise_.detectionRate * ease * std::exp(-far / noise_.fadeMetres);
  }

  void change(View& view, const RoomObject& object, const Camera& camera) {
    const double keep = noise_.correlation;
    const double add = std::sqrt(1 - keep * keep);
    view.error = {keep * view.error.x + add * chance_.normal(), keep * view.error.y + add * chance_.normal(),
                  keep * view.error.z + add * chance_.normal()};
    if (--view.leakFrames <= 0) {
      view.leakFrames = 1 + static_cast<int>(chance_.uniform(0, 2 * noise_.leakFrames));
      view.leak = chance_.with(object.kind.leak)
                      ? std::min(noise_.farthestLeak, chance_.uniform(0.3, 1) * behind(object, camera) / 2)
                      : 0;
    }
    if (--view.nameFrames <= 0) {
      view.nameFrames = 1 + static_cast<int>(chance_.uniform(0, 2 * noise_.wrongNameFrames));
      const auto confused = noise_.confusions.find(object.name);
      const bool isWrong = confused != noise_.confusions.end() && chance_.with(noise_.wrongName * misnaming_);
      view.name = isWrong ? chance_.of(confused->second) : object.name;
    }
  }

  /// Distance from the object to the wall behind it.
  [[nodiscard]] double behind(const RoomObject& object, const Camera& camera) const {
    const double far = std::max(0.1, localcloud::groundDistance(object.middle, camera.position));
    const double ux = (object.middle.x - camera.position.x) / far;
    const double uz = (object.middle.z - camera.position.z) / far;
    const double alongX =
        (room_.width / 2 - std::copysign(object.middle.x, ux * object.middle.x)) / std::abs(ux);
    const double alongZ =
        (room_.depth / 2 - std::copysign(object.middle.z, uz * object.middle.z)) / std::abs(uz);
    return std::max(0.0, std::min(alongX, alongZ));
  }

  /// The middle of the visible front, or of the front and the wall behind.
  [[nodiscard]] Point position(const RoomObject& object, const View& view, const Camera& camera) const {
    const double far = std::max(0.1, localcloud::groundDistance(object.middle, camera.position));
    const double ux = (object.middle.x - camera.position.x) / far;
    const double uz = (object.middle.z - camera.position.z) / far;
    const auto& size = object.kind.size;
    const double across = ux * std::cos(object.turn) - uz * std::sin(object.turn);
    const double along = ux * std::sin(object.turn) + uz * std::cos(object.turn);
    // The visible faces pull towards themselves by how much of them is seen.
    const double side = size[1] * std::abs(across);
    const double face = size[0] * std::abs(along);
    const double byX = -std::copysign(noise_.front * size[0] / 2 * side / (side + face), across);
    const double byZ = -std::copysign(noise_.front * size[1] / 2 * face / (side + face), along);
    const Point shift{view.leak * ux + byX * std::cos(object.turn) + byZ * std::sin(object.turn), 0,
                      view.leak * uz - byX * std::sin(object.turn) + byZ * std::cos(object.turn)};
    const double scatter = noise_.scatter + noise_.scatterPerMetre * far +
                           noise_.scatterPerSize * std::max(size[0], size[2]) * (size[1] > 0.05 ? 1 : 0.1);
    const double rise = std::clamp((EYE_HEIGHT - object.middle.y) / far, -0.5, 1.0) * size[1] / 4;
    return {object.middle.x + shift.x + scatter * view.error.x,
            object.middle.y + rise + scatter * view.error.y,
            object.middle.z + shift.z + scatter * view.error.z};
  }

  const NoiseModel& noise_;
  const Room& room_;
  double misnaming_;
  Chance& chance_;
  std::vector<View> views_;
};

}  // namespace

Point SimulatedWalk::at(const Point& p, double frame) const {
  const localcloud::RigidTransform now{.translation = {frame * drift.x, frame * drift.y, frame * drift.z},
                                       .angle = frame * driftAngle};
  return now.apply(start.apply(p));
}

SimulatedWalk walkThrough(const NoiseModel& noise, const Room& room, const WalkConditions& conditions,
                          Chance& chance) {
  const double away = chance.uniform(0, 2 * PI);
  const double far = conditions.originDistance * chance.uniform(0.5, 1);
  const double perFrame = conditions.driftPerMinute / 60 / noise.framesPerSecond;
  const double towards = chance.uniform(0, 2 * PI);
  SimulatedWalk walk{
      .sightings = {},
      .framesPerSecond = noise.framesPerSecond,
      .start = {.translation = {far * std::cos(away), chance.uniform(-1.6, -1.3), far * std::sin(away)},
                .angle = chance.uniform(-PI, PI)},
      .driftAngle = perFrame * 12 * PI / 180 * (chance.with(0.5) ? 1 : -1),
      .drift = {perFrame * std::cos(towards), 0, perFrame * std::sin(towards)}};
  Path path(room, noise.framesPerSecond, chance);
  Detector detector(noise, room, conditions.misnaming, chance);
  const auto frames = static_cast<std::int64_t>(noise.walkSeconds * noise.framesPerSecond);
  for (std::int64_t frame = 0; frame < frames; ++frame) {
    const std::size_t before = walk.sightings.size();
    detector.look(path.next(), frame, walk.sightings);
    for (std::size_t i = before; i < walk.sightings.size(); ++i)
      walk.sightings[i].position = walk.at(walk.sightings[i].position, static_cast<double>(frame));
  }
  return walk;
}

}  // namespace geoloom::tools::evaluation
