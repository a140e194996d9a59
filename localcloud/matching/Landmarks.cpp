#include "localcloud/matching/Landmarks.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <set>
#include <utility>

#include "localcloud/matching/Drift.h"
#include "localcloud/matching/ObjectClasses.h"

namespace geoloom::localcloud {

namespace {

// Bounds that keep the worst input within a second: 4 million distances a name, 96 landmarks. A session is
// looked at several times a second, and its older sightings count little.
constexpr std::size_t MAXIMUM_SIGHTINGS_OF_A_NAME = 2000;
constexpr std::size_t MAXIMUM_RECENT_SIGHTINGS_OF_A_NAME = 500;
constexpr std::size_t MAXIMUM_LANDMARKS_OF_A_NAME = 24;
constexpr std::size_t MAXIMUM_LANDMARKS = 96;

// Sightings of one object scatter by its size and by the depth that they hit.
constexpr double SMALLEST_RADIUS = 0.25;
constexpr double RADIUS_PER_SPREAD = 1.5;

// Two names at one place: as far apart as this when no frame shows both, half as far in one frame, where
// both boxes see the same points.
constexpr double SAME_PLACE = 0.2;
constexpr double SAME_PLACE_IN_A_FRAME = 0.1;
constexpr double SHARE_OF_COMMON_FRAMES = 0.25;

constexpr double SMALLEST_SCALE = 0.02;
constexpr double SCALE_OF_MEDIAN = 1.5;
constexpr int REWEIGHTINGS = 5;
// Sightings from consecutive frames share their viewpoint and so their error.
constexpr double FRAMES_OF_A_VIEWPOINT = 12;
// What the scatter of few sightings is shrunk towards, and the sightings that this counts as.
constexpr double SIGHTING_VARIANCE = 0.05 * 0.05;
constexpr double PRIOR_SIGHTINGS = 4;
// Of one sighting along an axis: of a flat thing, and what volume adds of the class's spread.
constexpr double FLAT_SCATTER = 0.03;
constexpr double SCATTER_OF_SPREAD = 0.4;
// Ghosts are seen this often, measured by the object seen most.
constexpr double GHOST_SHARE = 0.15;
constexpr std::size_t LEAST_SIGHTINGS_OF_A_TRACK = 4;
constexpr int DRIFT_ROUNDS = 2;

struct Group {
  std::string name;
  std::vector<const Sighting*> members;
  Point center;
};

/// The value below which half of the weight lies. Changes the order.
double weightedMedian(std::vector<std::pair<double, double>>& values) {
  std::sort(values.begin(), values.end());
  double total = 0;
  for (const auto& [value, weight] : values) total += weight;
  double below = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    below += values[i].second;
    if (below > total / 2 || i + 1 == values.size()) return values[i].first;
    if (below == total / 2) return (values[i].first + values[i + 1].first) / 2;
  }
  return 0;
}

struct Center {
  Point position;
  double groundScatter = 0;  ///< variance of one sighting along an axis, m²
  double heightScatter = 0;
};

/// Weighted mean in which sightings far from the others lose their weight (Cauchy weights about the median).
Center robustCenter(const std::vector<Point>& points, const std::vector<double>& weights) {
  std::vector<std::pair<double, double>> values(points.size());
  const auto median = [&](auto&& valueOf) {
    for (std::size_t i = 0; i < points.size(); ++i) values[i] = {valueOf(points[i]), weights[i]};
    return weightedMedian(values);
  };
  Center center;
  Point& c = center.position;
  c = {median([](const Point& p) { return p.x; }), median([](const Point& p) { return p.y; }),
       median([](const Point& p) { return p.z; })};
  for (int round = 0; round < REWEIGHTINGS; ++round) {
    const double scale =
        std::max(SMALLEST_SCALE, SCALE_OF_MEDIAN * median([&](const Point& p) { return distance(p, c); }));
    Point sum;
    double total = 0;
    double ground = 0;
    double height = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      const double ratio = distance(points[i], c) / scale;
      const double w = weights[i] / (1 + ratio * ratio);
      const Point& p = points[i];
      sum = {sum.x + w * p.x, sum.y + w * p.y, sum.z + w * p.z};
      total += w;
      ground += w * groundDistance(p, c) * groundDistance(p, c) / 2;
      height += w * (p.y - c.y) * (p.y - c.y);
    }
    c = {sum.x / total, sum.y / total, sum.z / total};
    center.groundScatter = ground / total;
    center.heightScatter = height / total;
  }
  return center;
}

Point medianOf(const std::vector<const Sighting*>& sightings) {
  std::vector<std::pair<double, double>> values(sightings.size());
  const auto median = [&](double Point::*axis) {
    for (std::size_t i = 0; i < sightings.size(); ++i) values[i] = {sightings[i]->position.*axis, 1.0};
    return weightedMedian(values);
  };
  return {median(&Point::x), median(&Point::y), median(&Point::z)};
}

/// The latest, so that a long session follows the walk.
std::vector<const Sighting*> bounded(std::vector<const Sighting*> sightings, Age age) {
  const std::size_t most =
      age == Age::fades ? MAXIMUM_RECENT_SIGHTINGS_OF_A_NAME : MAXIMUM_SIGHTINGS_OF_A_NAME;
  if (sightings.size() > most)
    sightings.erase(sightings.begin(), sightings.end() - static_cast<std::ptrdiff_t>(most));
  return sightings;
}

/// Sightings of one name, grouped around the places where they are densest.
std::vector<Group> groupsOfOneName(const std::string& name, std::vector<const Sighting*> sightings) {
  const double radius = SMALLEST_RADIUS + RADIUS_PER_SPREAD * viewpointSpread(name);
  std::vector<int> neighbours(sightings.size(), 0);
  for (std::size_t i = 0; i < sightings.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (distance(sightings[i]->position, sightings[j]->position) > radius) continue;
      ++neighbours[i];
      ++neighbours[j];
    }
  }
  std::vector<std::size_t> order(sightings.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return neighbours[a] > neighbours[b]; });

  std::vector<Group> groups;
  std::vector<bool> taken(sightings.size(), false);
  for (const std::size_t seed : order) {
    if (taken[seed]) continue;
    std::vector<const Sighting*> near;
    for (std::size_t i = 0; i < sightings.size(); ++i) {
      if (!taken[i] && distance(sightings[i]->position, sightings[seed]->position) <= radius)
        near.push_back(sightings[i]);
    }
    Group group{.name = name, .members = {}, .center = medianOf(near)};
    for (std::size_t i = 0; i < sightings.size(); ++i) {
      if (taken[i] || (i != seed && distance(sightings[i]->position, group.center) > radius)) continue;
      taken[i] = true;
      group.members.push_back(sightings[i]);
    }
    groups.push_back(std::move(group));
  }
  // A few sightings beside a well-seen object of the same name hit what stands behind it.
  std::stable_sort(groups.begin(), groups.end(),
                   [](const Group& a, const Group& b) { return a.members.size() > b.members.size(); });
  std::vector<Group> kept;
  for (Group& group : groups) {
    const bool stray = std::any_of(kept.begin(), kept.end(), [&](const Group& other) {
      const double apart = distance(group.center, other.center);
      return apart <= radius || (apart <= 2.5 * radius && 4 * group.members.size() < other.members.size());
    });
    if (!stray) kept.push_back(std::move(group));
  }
  return kept;
}

/// True when two names stand for one object: at one place, and not side by side in the same frames.
bool isSameObject(const Group& a, const Group& b) {
  if (distance(a.center, b.center) > SAME_PLACE) return false;
  std::vector<std::pair<double, double>> apart;
  std::map<std::int64_t, const Sighting*> framesOfA;
  for (const Sighting* sighting : a.members) framesOfA[sighting->frame] = sighting;
  for (const Sighting* sighting : b.members) {
    const auto same = framesOfA.find(sighting->frame);
    if (same != framesOfA.end()) apart.emplace_back(distance(same->second->position, sighting->position), 1);
  }
  const auto fewer = static_cast<double>(std::min(a.members.size(), b.members.size()));
  const bool isSideBySide = static_cast<double>(apart.size()) >= SHARE_OF_COMMON_FRAMES * fewer;
  return !isSideBySide || weightedMedian(apart) <= SAME_PLACE_IN_A_FRAME;
}

/// While one walks past an object with volume, its visible front moves.
double flatness(double scatter, double spread, double viewpoints) {
  const double voluminous =
      FLAT_SCATTER * FLAT_SCATTER + SCATTER_OF_SPREAD * SCATTER_OF_SPREAD * spread * spread;
  const double flat = FLAT_SCATTER * FLAT_SCATTER;
  return viewpoints * (std::log(voluminous / flat) + scatter / voluminous - scatter / flat);
}

Landmark landmarkOf(const std::vector<const Group*>& groups, const Drift& drift, std::int64_t last) {
  std::vector<Point> points;
  std::vector<double> weights;
  std::set<std::int64_t> frames;
  Landmark landmark;
  double total = 0;
  double drifted = 0;
  for (const Group* group : groups) {
    for (const Sighting* sighting : group->members) {
      const double variance = drift.variance(sighting->position, static_cast<double>(last - sighting->frame));
      const double weight = SIGHTING_VARIANCE / (SIGHTING_VARIANCE + variance);
      points.push_back(sighting->position);
      weights.push_back(weight);
      total += weight;
      drifted += weight * variance;
      landmark.names[group->name] += weight;
      frames.insert(sighting->frame);
    }
  }
  for (auto& [name, share] : landmark.names) {
    share /= total;
    landmark.spread += share * viewpointSpread(name);
  }
  landmark.sightings = static_cast<double>(frames.size());
  const Center center = robustCenter(points, weights);
  landmark.position = center.position;
  const double effective = total * landmark.sightings / static_cast<double>(points.size());
  const double viewpoints = std::max(1.0, 1 + (effective - 1) / FRAMES_OF_A_VIEWPOINT);
  const auto shrunk = [&](double scatter) {
    return (PRIOR_SIGHTINGS * SIGHTING_VARIANCE + effective * scatter) / (PRIOR_SIGHTINGS + effective);
  };
  landmark.groundVariance = shrunk(center.groundScatter) / viewpoints + drifted / total;
  landmark.heightVariance = shrunk(center.heightScatter) / viewpoints;
  landmark.flatness = flatness(center.groundScatter, landmark.spread, viewpoints);
  return landmark;
}

std::vector<Group> groupsOf(const std::vector<Sighting>& sightings, Age age) {
  std::map<std::string, std::vector<const Sighting*>> byName;
  for (const Sighting& seen : sightings) byName[seen.name].push_back(&seen);
  std::vector<Group> groups;
  for (auto& [name, ofName] : byName) {
    std::vector<Group> found = groupsOfOneName(name, bounded(std::move(ofName), age));
    if (found.size() > MAXIMUM_LANDMARKS_OF_A_NAME) found.resize(MAXIMUM_LANDMARKS_OF_A_NAME);
    std::move(found.begin(), found.end(), std::back_inserter(groups));
  }
  std::stable_sort(groups.begin(), groups.end(),
                   [](const Group& a, const Group& b) { return a.members.size() > b.members.size(); });
  return groups;
}

Drift driftOf(const std::vector<Group>& groups, std::int64_t last) {
  std::vector<Track> tracks;
  for (const Group& group : groups) {
    const double scatter = std::hypot(FLAT_SCATTER, 0.2 * viewpointSpread(group.name));
    if (group.members.size() >= LEAST_SIGHTINGS_OF_A_TRACK) tracks.push_back({group.members, scatter});
  }
  return estimateDrift(tracks, last);
}

}  // namespace

const std::string& Landmark::name() const {
  return std::max_element(names.begin(), names.end(),
                          [](const auto& a, const auto& b) { return a.second < b.second; })
      ->first;
}

std::vector<Landmark> findLandmarks(const std::vector<Sighting>& sightings, Age age) {
  std::vector<Sighting> seen;
  std::int64_t last = std::numeric_limits<std::int64_t>::min();
  for (const Sighting& sighting : sightings) {
    const Point& p = sighting.position;
    if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) continue;
    seen.push_back(sighting);
    last = std::max(last, sighting.frame);
  }
  std::vector<Group> groups = groupsOf(seen, age);
  Drift drift;
  for (int round = 0; age == Age::fades && round < DRIFT_ROUNDS; ++round) {
    drift = driftOf(groups, last);
    for (Sighting& sighting : seen)
      sighting.position = drift.now(sighting.position, static_cast<double>(last - sighting.frame));
    groups = groupsOf(seen, age);
  }
  std::vector<std::vector<const Group*>> objects;
  for (const Group& group : groups) {
    const auto same = std::find_if(objects.begin(), objects.end(), [&](const auto& object) {
      return object.front()->name != group.name && isSameObject(*object.front(), group);
    });
    if (same != objects.end())
      same->push_back(&group);
    else if (objects.size() < MAXIMUM_LANDMARKS)
      objects.push_back({&group});
  }
  std::vector<Landmark> landmarks;
  double most = 0;
  for (const auto& object : objects) {
    landmarks.push_back(landmarkOf(object, drift, last));
    most = std::max(most, landmarks.back().sightings);
  }
  for (Landmark& landmark : landmarks)
    landmark.reliability = landmark.sightings / (landmark.sightings + GHOST_SHARE * most);
  return landmarks;
}

}  // namespace geoloom::localcloud
