#include "localcloud/matching/Drift.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace geoloom::localcloud {

namespace {

// Tracking that follows features well drifts by less than a quarter of a metre and 3° a minute, at six frames
// analysed a second.
constexpr double DRIFT_PER_FRAME = 0.5 / 60 / 6;
constexpr double TURN_PER_FRAME = 0.1 / 60 / 6;
// Sightings from consecutive frames share their viewpoint and so their error.
constexpr double FRAMES_OF_A_VIEWPOINT = 6;

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

/// Of a positive definite matrix.
Matrix inverse(const Matrix& m) {
  const auto cofactor = [&](std::size_t i, std::size_t j) {
    const std::size_t a = (i + 1) % 3;
    const std::size_t b = (i + 2) % 3;
    const std::size_t c = (j + 1) % 3;
    const std::size_t d = (j + 2) % 3;
    return m[a][c] * m[b][d] - m[a][d] * m[b][c];
  };
  const double determinant = m[0][0] * cofactor(0, 0) + m[0][1] * cofactor(0, 1) + m[0][2] * cofactor(0, 2);
  Matrix result;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) result[i][j] = cofactor(j, i) / determinant;
  }
  return result;
}

/// James and Stein: what is no larger than its uncertainty is taken for noise.
double shrunk(double value, double variance) {
  return value * std::max(0.0, 1 - variance / (value * value + 1e-30));
}

}  // namespace

Point Drift::now(const Point& p, double age) const {
  return {p.x + age * (x + angle * p.z), p.y, p.z + age * (z - angle * p.x)};
}

double Drift::variance(const Point& p, double age) const {
  return age * age * (groundVariance + angleVariance * (p.x * p.x + p.z * p.z) / 2);
}

Drift estimateDrift(const std::vector<Track>& tracks, std::int64_t lastFrame) {
  // Each sighting is at c - age (x + angle pz, z - angle px) with an unknown place c for each object.
  Matrix normal{Vector{1 / (DRIFT_PER_FRAME * DRIFT_PER_FRAME), 0, 0},
                Vector{0, 1 / (DRIFT_PER_FRAME * DRIFT_PER_FRAME), 0},
                Vector{0, 0, 1 / (TURN_PER_FRAME * TURN_PER_FRAME)}};
  Vector right{};
  for (const Track& track : tracks) {
    const auto count = static_cast<double>(track.sightings.size());
    const auto ageOf = [&](const Sighting* s) { return static_cast<double>(lastFrame - s->frame); };
    double age = 0;
    Point p;
    for (const Sighting* s : track.sightings) {
      age += ageOf(s) / count;
      p = {p.x + s->position.x / count, 0, p.z + s->position.z / count};
    }
    const double weight = 1 / (FRAMES_OF_A_VIEWPOINT * track.scatter * track.scatter);
    for (const Sighting* s : track.sightings) {
      const double a = age - ageOf(s);
      const double dx = s->position.x - p.x;
      const double dz = s->position.z - p.z;
      const double robust = weight / (1 + (dx * dx + dz * dz) / (9 * track.scatter * track.scatter));
      for (const auto& [row, value] : {std::pair{Vector{a, 0, a * p.z}, dx}, {Vector{0, a, -a * p.x}, dz}}) {
        for (std::size_t i = 0; i < 3; ++i) {
          right[i] += robust * row[i] * value;
          for (std::size_t j = 0; j < 3; ++j) normal[i][j] += robust * row[i] * row[j];
        }
      }
    }
  }
  const Matrix covariance = inverse(normal);
  const auto solution = [&](std::size_t i) {
    return covariance[i][0] * right[0] + covariance[i][1] * right[1] + covariance[i][2] * right[2];
  };
  return {.x = shrunk(solution(0), covariance[0][0]),
          .z = shrunk(solution(1), covariance[1][1]),
          .angle = shrunk(solution(2), covariance[2][2]),
          .groundVariance = (covariance[0][0] + covariance[1][1]) / 2,
          .angleVariance = covariance[2][2]};
}

}  // namespace geoloom::localcloud
