#include "tools/synthetic/CameraPath.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace geoloom::tools {
namespace {

/// `v` turned about the unit vector `axis`.
Vector turned(const Vector& v, const Vector& axis, double angle) {
  const double c = std::cos(angle);
  return c * v + std::sin(angle) * cross(axis, v) + ((1 - c) * dot(axis, v)) * axis;
}

View turned(const View& view, const Vector& axis, double angle) {
  return {view.position, turned(view.right, axis, angle), turned(view.down, axis, angle),
          turned(view.forward, axis, angle)};
}

/// A cubic between two points whose speeds are given, at share `f` of the `seconds` between them.
Vector hermite(const Vector& p0, const Vector& p1, const Vector& v0, const Vector& v1, double seconds,
               double f) {
  const double f2 = f * f;
  const double f3 = f2 * f;
  return (2 * f3 - 3 * f2 + 1) * p0 + ((f3 - 2 * f2 + f) * seconds) * v0 + (3 * f2 - 2 * f3) * p1 +
         ((f3 - f2) * seconds) * v1;
}

}  // namespace

CameraPath::Tremble::Tremble(Random& random, double amplitude) {
  constexpr std::array<double, 3> hertz{0.35, 0.9, 2.3};
  constexpr std::array<double, 3> share{0.55, 0.3, 0.15};
  for (std::size_t i = 0; i < swings_.size(); ++i) {
    const auto variation = static_cast<double>(0.75F + 0.5F * random());
    const auto phase = static_cast<double>(random());
    swings_[i] = {amplitude * share[i], 2 * std::numbers::pi * hertz[i] * variation,
                  2 * std::numbers::pi * phase};
  }
}

double CameraPath::Tremble::at(double seconds) const {
  double sum = 0;
  for (const Swing& swing : swings_)
    sum += swing.amplitude * std::sin(swing.frequency * seconds + swing.phase);
  return sum;
}

CameraPath::CameraPath(const WalkDescription& walk, unsigned seed) : walk_(walk) {
  constexpr double placeAmplitude = 0.012;
  constexpr std::array<double, 3> turnAmplitude{0.012, 0.012, 0.02};
  double time = 0;
  for (const Waypoint& waypoint : walk.waypoints) times_.push_back(time += waypoint.seconds);
  Random random(seed);
  for (std::size_t axis = 0; axis < 3; ++axis) place_.emplace_back(random, placeAmplitude);
  for (const double amplitude : turnAmplitude) turn_.emplace_back(random, amplitude);
}

double CameraPath::duration() const {
  return times_.back();
}

View CameraPath::at(double seconds) const {
  const auto& points = walk_.waypoints;
  const auto after = std::upper_bound(times_.begin() + 1, times_.end() - 1, seconds);
  const auto i = static_cast<std::size_t>(after - times_.begin()) - 1;
  const double span = times_[i + 1] - times_[i];
  const double f = std::clamp((seconds - times_[i]) / span, 0.0, 1.0);
  const auto between = [&](auto member) {
    const auto speed = [&](std::size_t k) {  // at rest at both ends of the walk
      if (k == 0 || k + 1 == points.size()) return Vector{};
      return (1 / (times_[k + 1] - times_[k - 1])) * (points[k + 1].*member - points[k - 1].*member);
    };
    return hermite(points[i].*member, points[i + 1].*member, speed(i), speed(i + 1), span, f);
  };
  const Vector tremble{place_[0].at(seconds), place_[1].at(seconds), place_[2].at(seconds)};
  const View still = lookingAt(between(&Waypoint::position) + tremble, between(&Waypoint::target));
  const View yawed = turned(still, {0, 0, 1}, turn_[0].at(seconds));
  const View pitched = turned(yawed, yawed.right, turn_[1].at(seconds));
  return turned(pitched, pitched.forward, turn_[2].at(seconds));
}

View lookingAt(const Vector& position, const Vector& target) {
  constexpr Vector up{0, 0, 1};
  const Vector forward = normalized(target - position);
  const Vector aside = cross(forward, up);
  const Vector right = dot(aside, aside) < 1e-12 ? Vector{1, 0, 0} : normalized(aside);
  return {position, right, cross(forward, right), forward};
}

std::array<double, 4> quaternionOf(const View& view) {
  const Vector& x = view.right;
  const Vector& y = view.down;
  const Vector& z = view.forward;
  // Four times the square of each component; the largest is divided by, so that nothing is lost.
  const std::array<double, 4> squares{1 + x[0] - y[1] - z[2], 1 - x[0] + y[1] - z[2], 1 - x[0] - y[1] + z[2],
                                      1 + x[0] + y[1] + z[2]};
  const auto largest = std::max_element(squares.begin(), squares.end());
  const double s = 0.5 / std::sqrt(*largest);
  switch (largest - squares.begin()) {
    case 0:
      return {s * *largest, s * (x[1] + y[0]), s * (x[2] + z[0]), s * (y[2] - z[1])};
    case 1:
      return {s * (x[1] + y[0]), s * *largest, s * (y[2] + z[1]), s * (z[0] - x[2])};
    case 2:
      return {s * (x[2] + z[0]), s * (y[2] + z[1]), s * *largest, s * (x[1] - y[0])};
    default:
      return {s * (y[2] - z[1]), s * (z[0] - x[2]), s * (x[1] - y[0]), s * *largest};
  }
}

}  // namespace geoloom::tools
