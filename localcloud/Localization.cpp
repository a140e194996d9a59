#include "localcloud/Localization.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <numeric>
#include <tuple>
#include <utility>

#include <fmt/format.h>

namespace geoloom::localcloud {

namespace {

// Bounds that keep the worst input within about a second: 4 million distances a name, 96 landmarks a side.
constexpr std::size_t MAXIMUM_SIGHTINGS = 2000;
constexpr std::size_t MAXIMUM_LANDMARKS_OF_ONE_NAME = 24;
constexpr std::size_t MAXIMUM_LANDMARKS = 96;
constexpr std::size_t MAXIMUM_HYPOTHESES = 30'000;
constexpr std::size_t REFINED_HYPOTHESES = 32;
constexpr int MAXIMUM_REFINEMENTS = 10;

// Sightings of one object scatter by its own extent and the depth they hit, whatever the matching allows.
constexpr double SMALLEST_RADIUS = 0.25;
constexpr double LARGEST_RADIUS = 0.5;

// Spread of one sighting, and what is left of it however many there are, since a walk sees an object from one
// side.
constexpr double SIGHTING_SPREAD = 0.1;
constexpr double COMMON_SPREAD = 0.03;
constexpr double SMALLEST_SCALE = 0.02;
constexpr double SCALE_OF_MEDIAN = 1.5;
constexpr int REWEIGHTINGS = 5;

double squared(double value) {
  return value * value;
}
double distance(const Point& a, const Point& b) {
  return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}
double groundDistance(const Point& a, const Point& b) {
  return std::hypot(a.x - b.x, a.z - b.z);
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + std::ssize(values) / 2;
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) return *middle;
  return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

/// Down to nothing for what lies far outside the others, so that it cannot pull the result.
std::vector<double> robustWeights(const std::vector<double>& residuals) {
  const double scale = std::max(SMALLEST_SCALE, SCALE_OF_MEDIAN * median(residuals));
  std::vector<double> weights;
  weights.reserve(residuals.size());
  for (const double residual : residuals) weights.push_back(1 / (1 + squared(residual / scale)));
  return weights;
}

Point medianPoint(const std::vector<Point>& points) {
  const auto component = [&](double Point::*axis) {
    std::vector<double> values;
    values.reserve(points.size());
    for (const Point& point : points) values.push_back(point.*axis);
    return median(std::move(values));
  };
  return {component(&Point::x), component(&Point::y), component(&Point::z)};
}

Point robustCenter(const std::vector<Point>& points) {
  Point center = medianPoint(points);
  for (int round = 0; round < REWEIGHTINGS; ++round) {
    std::vector<double> residuals;
    residuals.reserve(points.size());
    for (const Point& point : points) residuals.push_back(distance(point, center));
    const std::vector<double> weights = robustWeights(residuals);
    Point sum;
    for (std::size_t i = 0; i < points.size(); ++i) {
      sum.x += weights[i] * points[i].x;
      sum.y += weights[i] * points[i].y;
      sum.z += weights[i] * points[i].z;
    }
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
    center = {sum.x / total, sum.y / total, sum.z / total};
  }
  return center;
}

/// At most MAXIMUM_SIGHTINGS, evenly over the session.
std::vector<Point> thinned(const std::vector<Point>& points) {
  if (points.size() <= MAXIMUM_SIGHTINGS) return points;
  std::vector<Point> kept;
  kept.reserve(MAXIMUM_SIGHTINGS);
  for (std::size_t i = 0; i < MAXIMUM_SIGHTINGS; ++i)
    kept.push_back(points[i * points.size() / MAXIMUM_SIGHTINGS]);
  return kept;
}

/// Indices of the points, those with the most others around them first.
std::vector<std::size_t> densestFirst(const std::vector<Point>& points, double radius) {
  std::vector<int> neighbours(points.size(), 0);
  for (std::size_t i = 0; i < points.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (distance(points[i], points[j]) > radius) continue;
      ++neighbours[i];
      ++neighbours[j];
    }
  }
  std::vector<std::size_t> order(points.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return neighbours[a] > neighbours[b]; });
  return order;
}

/// A few sightings beside a well-seen landmark are its strays, not an object of their own.
bool isStrayOf(const Landmark& few, const Landmark& many, double radius) {
  const double apart = distance(few.position, many.position);
  return apart <= radius || (apart <= 2 * radius && 3 * few.sightings < many.sightings);
}

std::vector<Landmark> landmarksOfOneName(const std::string& name, const std::vector<Point>& points,
                                         double radius) {
  std::vector<bool> taken(points.size(), false);
  const auto freeWithin = [&](const Point& center) {
    std::vector<std::size_t> members;
    for (std::size_t i = 0; i < points.size(); ++i) {
      if (!taken[i] && distance(points[i], center) <= radius) members.push_back(i);
    }
    return members;
  };
  const auto pointsOf = [&](const std::vector<std::size_t>& members) {
    std::vector<Point> chosen;
    chosen.reserve(members.size());
    for (const std::size_t i : members) chosen.push_back(points[i]);
    return chosen;
  };

  std::vector<Landmark> found;
  for (const std::size_t seed : densestFirst(points, radius)) {
    if (taken[seed]) continue;
    std::vector<std::size_t> members = freeWithin(points[seed]);
    const std::vector<std::size_t> moved = freeWithin(medianPoint(pointsOf(members)));
    if (moved.size() >= members.size()) members = moved;
    for (const std::size_t i : members) taken[i] = true;
    taken[seed] = true;
    found.push_back({name, robustCenter(pointsOf(members)), static_cast<int>(members.size())});
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Landmark& a, const Landmark& b) { return a.sightings > b.sightings; });
  std::vector<Landmark> kept;
  for (Landmark& landmark : found) {
    const bool stray = std::any_of(kept.begin(), kept.end(),
                                   [&](const Landmark& other) { return isStrayOf(landmark, other, radius); });
    if (!stray) kept.push_back(std::move(landmark));
  }
  return kept;
}

/// The best-seen ones, so that a hostile table cannot make the search long.
std::vector<Landmark> bestSeen(std::vector<Landmark> landmarks) {
  std::stable_sort(landmarks.begin(), landmarks.end(),
                   [](const Landmark& a, const Landmark& b) { return a.sightings > b.sightings; });
  std::map<std::string, std::size_t> ofName;
  std::erase_if(landmarks, [&](const Landmark& landmark) {
    return ++ofName[landmark.name] > MAXIMUM_LANDMARKS_OF_ONE_NAME;
  });
  if (landmarks.size() > MAXIMUM_LANDMARKS) landmarks.resize(MAXIMUM_LANDMARKS);
  return landmarks;
}

double pairWeight(const Landmark& map, const Landmark& session) {
  return 1 / (squared(SIGHTING_SPREAD) * (1.0 / map.sightings + 1.0 / session.sightings) +
              squared(COMMON_SPREAD));
}

double residualOf(const RigidTransform& transform, const LandmarkPair& pair) {
  return distance(transform.apply(pair.map), pair.session);
}

/// Least squares in which a pair that disagrees with the others loses its say.
RigidTransform fitRobustly(std::vector<LandmarkPair> pairs) {
  RigidTransform transform = fitTransform(pairs);
  const std::vector<LandmarkPair> original = pairs;
  for (int round = 0; round < REWEIGHTINGS; ++round) {
    std::vector<double> residuals;
    residuals.reserve(pairs.size());
    for (const LandmarkPair& pair : original) residuals.push_back(residualOf(transform, pair));
    const std::vector<double> weights = robustWeights(residuals);
    for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i].weight = original[i].weight * weights[i];
    transform = fitTransform(pairs);
  }
  return transform;
}

bool fixesHeading(const std::vector<LandmarkPair>& pairs) {
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (groundDistance(pairs[i].map, pairs[j].map) >= MINIMUM_SEPARATION_METERS) return true;
    }
  }
  return false;
}

bool isBetter(const Localization& a, const Localization& b) {
  return std::make_tuple(b.pairs.size(), a.residual) < std::make_tuple(a.pairs.size(), b.residual);
}

/// The search over all ways to pair two objects of one session with two of the other.
class Matcher {
 public:
  Matcher(const std::vector<Landmark>& map, const std::vector<Landmark>& session, double distance)
      : map_(bestSeen(map)), session_(bestSeen(session)), distance_(distance) {
    for (std::size_t m = 0; m < map_.size(); ++m) {
      for (std::size_t s = 0; s < session_.size(); ++s) {
        if (map_[m].name == session_[s].name) candidates_.push_back({m, s, pairWeight(map_[m], session_[s])});
      }
    }
    // Well-seen pairs first: they are tried whatever the bound on hypotheses.
    std::stable_sort(candidates_.begin(), candidates_.end(),
                     [](const Candidate& a, const Candidate& b) { return a.weight > b.weight; });
  }

  std::optional<Localization> best() const {
    std::optional<Localization> best;
    for (const Localization& hypothesis : hypotheses()) {
      Localization refined = refine(hypothesis);
      if (fixesHeading(refined.pairs) && (!best || isBetter(refined, *best))) best = std::move(refined);
    }
    return best;
  }

 private:
  struct Candidate {
    std::size_t map;
    std::size_t session;
    double weight;
  };

  [[nodiscard]] LandmarkPair pairOf(const Candidate& candidate) const {
    return {map_[candidate.map].position, session_[candidate.session].position, candidate.weight};
  }

  /// True when a turn about the vertical and a shift can bring both pairs within the distance, and fix the
  /// heading.
  [[nodiscard]] bool compatible(const Candidate& a, const Candidate& b) const {
    if (a.map == b.map || a.session == b.session) return false;
    const LandmarkPair p = pairOf(a);
    const LandmarkPair q = pairOf(b);
    const double onMap = groundDistance(p.map, q.map);
    if (onMap < MINIMUM_SEPARATION_METERS) return false;
    if (std::abs(onMap - groundDistance(p.session, q.session)) > 2 * distance_) return false;
    return std::abs((p.session.y - p.map.y) - (q.session.y - q.map.y)) <= 2 * distance_;
  }

  /// Pairs each landmark at most once, the closest first.
  [[nodiscard]] Localization assign(const RigidTransform& transform) const {
    std::vector<Point> moved;
    moved.reserve(map_.size());
    for (const Landmark& landmark : map_) moved.push_back(transform.apply(landmark.position));
    std::vector<std::pair<double, const Candidate*>> near;
    for (const Candidate& candidate : candidates_) {
      const double apart = distance(moved[candidate.map], session_[candidate.session].position);
      if (apart <= distance_) near.emplace_back(apart, &candidate);
    }
    std::sort(near.begin(), near.end());
    std::vector<bool> mapTaken(map_.size(), false);
    std::vector<bool> sessionTaken(session_.size(), false);
    Localization result{.transform = transform, .pairs = {}, .residual = 0};
    double sum = 0;
    for (const auto& [apart, candidate] : near) {
      if (mapTaken[candidate->map] || sessionTaken[candidate->session]) continue;
      mapTaken[candidate->map] = true;
      sessionTaken[candidate->session] = true;
      result.pairs.push_back(pairOf(*candidate));
      sum += squared(apart);
    }
    if (!result.pairs.empty()) result.residual = std::sqrt(sum / static_cast<double>(result.pairs.size()));
    return result;
  }

  /// The most promising starts, best first.
  [[nodiscard]] std::vector<Localization> hypotheses() const {
    std::vector<Localization> kept;
    std::size_t tried = 0;
    for (std::size_t later = 1; later < candidates_.size(); ++later) {
      for (std::size_t earlier = 0; earlier < later; ++earlier) {
        if (!compatible(candidates_[earlier], candidates_[later])) continue;
        if (++tried > MAXIMUM_HYPOTHESES) return kept;
        keep(kept, assign(fitTransform({pairOf(candidates_[earlier]), pairOf(candidates_[later])})));
      }
    }
    return kept;
  }

  static void keep(std::vector<Localization>& kept, Localization hypothesis) {
    if (kept.size() == REFINED_HYPOTHESES) {
      if (!isBetter(hypothesis, kept.back())) return;
      kept.pop_back();
    }
    kept.insert(std::upper_bound(kept.begin(), kept.end(), hypothesis, isBetter), std::move(hypothesis));
  }

  /// Fits and pairs in turn until neither changes. A pair that only a skewed start could reach is given up.
  [[nodiscard]] Localization refine(Localization current) const {
    for (int round = 0; round < MAXIMUM_REFINEMENTS && current.pairs.size() >= 2; ++round) {
      Localization next = assign(fitRobustly(current.pairs));
      const bool settled =
          next.pairs.size() == current.pairs.size() && std::abs(next.residual - current.residual) < 1e-9;
      current = std::move(next);
      if (settled) break;
    }
    return current;
  }

  std::vector<Landmark> map_;
  std::vector<Landmark> session_;
  std::vector<Candidate> candidates_;
  double distance_;
};

}  // namespace

Point RigidTransform::apply(const Point& p) const {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  return {translation.x + c * p.x + s * p.z, translation.y + p.y, translation.z - s * p.x + c * p.z};
}

std::string RigidTransform::text() const {
  return fmt::format("{},{},{},{}", static_cast<float>(translation.x), static_cast<float>(translation.y),
                     static_cast<float>(translation.z), static_cast<float>(angle));
}

std::vector<Landmark> findLandmarks(const std::vector<Observation>& observations, double distance) {
  const double radius = std::clamp(distance, SMALLEST_RADIUS, LARGEST_RADIUS);
  std::map<std::string, std::vector<Point>> byName;
  for (const Observation& seen : observations) {
    const Point& p = seen.position;
    if (std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z)) byName[seen.name].push_back(p);
  }
  std::vector<Landmark> landmarks;
  for (const auto& [name, points] : byName) {
    for (Landmark& landmark : landmarksOfOneName(name, thinned(points), radius)) {
      landmarks.push_back(std::move(landmark));
    }
  }
  return landmarks;
}

RigidTransform fitTransform(const std::vector<LandmarkPair>& pairs) {
  double total = 0;
  Point p;  // centroids
  Point q;
  for (const LandmarkPair& pair : pairs) {
    total += pair.weight;
    p = {p.x + pair.weight * pair.map.x, p.y + pair.weight * pair.map.y, p.z + pair.weight * pair.map.z};
    q = {q.x + pair.weight * pair.session.x, q.y + pair.weight * pair.session.y,
         q.z + pair.weight * pair.session.z};
  }
  p = {p.x / total, p.y / total, p.z / total};
  q = {q.x / total, q.y / total, q.z / total};

  // The angle that maximises Σ w q·(R p) over the ground plane.
  double sine = 0;
  double cosine = 0;
  for (const LandmarkPair& pair : pairs) {
    const double px = pair.map.x - p.x;
    const double pz = pair.map.z - p.z;
    const double qx = pair.session.x - q.x;
    const double qz = pair.session.z - q.z;
    sine += pair.weight * (pz * qx - px * qz);
    cosine += pair.weight * (px * qx + pz * qz);
  }
  RigidTransform transform{.translation = {}, .angle = std::atan2(sine, cosine)};
  const Point turned = transform.apply(p);
  transform.translation = {q.x - turned.x, q.y - turned.y, q.z - turned.z};
  return transform;
}

std::optional<Localization> matchLandmarks(const std::vector<Landmark>& map,
                                           const std::vector<Landmark>& session, double distance) {
  return Matcher(map, session, distance).best();
}

std::optional<Localization> localize(const std::vector<Observation>& map,
                                     const std::vector<Observation>& session, double distance) {
  return matchLandmarks(findLandmarks(map, distance), findLandmarks(session, distance), distance);
}

}  // namespace geoloom::localcloud
