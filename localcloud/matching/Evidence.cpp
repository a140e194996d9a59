#include "localcloud/matching/Evidence.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <utility>

#include "localcloud/matching/ObjectClasses.h"

namespace geoloom::localcloud {

namespace {

// Where objects of other rooms stand: anywhere on the ground, but cups stand on tables and chairs on floors
// everywhere, so that heights tell little.
constexpr double SMALLEST_ROOM_AREA = 9;
constexpr double LARGEST_ROOM_AREA = 400;
constexpr double ROOM_MARGIN = 1;
constexpr double HEIGHT_RANGE = 1;

// Things stand together: of the objects, those that stand in the company of another, and how near.
constexpr double SHARE_IN_COMPANY = 0.5;
constexpr double COMPANY_METERS = 0.5;

// Of the objects that were mapped, those that still stand where they stood.
constexpr double SHARE_UNMOVED = 0.8;
// Pictures and other flat things among the objects, whose position does not depend on the viewpoint.
constexpr double SHARE_FLAT = 0.15;
constexpr double LARGEST_FLATNESS = 3;
constexpr double FLAT_SPREAD = 0.012;
// The height of a visible front varies less with the side from which it is seen.
constexpr double HEIGHT_SPREAD_RATIO = 0.4;
// A session sees what stands this close to things that it has seen.
constexpr double NEAR_SEEN = 1;
constexpr double SMALLEST_AFFINITY = 0.02;
// The residuals count as if the expected ones had been seen with this many degrees of freedom.
constexpr double PRIOR_FREEDOM = 4;
constexpr int REFINEMENTS = 6;

/// Share of the names that both sides may have given to one object.
double affinity(const Landmark& a, const Landmark& b) {
  double sum = 0;
  for (const auto& [nameOfA, shareOfA] : a.names) {
    for (const auto& [nameOfB, shareOfB] : b.names)
      sum += std::min(shareOfA, shareOfB) * confusion(nameOfA, nameOfB);
  }
  return std::min(1.0, sum);
}

double areaAround(const std::vector<Landmark>& landmarks) {
  if (landmarks.empty()) return SMALLEST_ROOM_AREA;
  Point low = landmarks.front().position;
  Point high = low;
  for (const Landmark& landmark : landmarks) {
    const Point& p = landmark.position;
    low = {std::min(low.x, p.x), 0, std::min(low.z, p.z)};
    high = {std::max(high.x, p.x), 0, std::max(high.z, p.z)};
  }
  return std::clamp((high.x - low.x + ROOM_MARGIN) * (high.z - low.z + ROOM_MARGIN), SMALLEST_ROOM_AREA,
                    LARGEST_ROOM_AREA);
}

double squared(double value) {
  return value * value;
}

double logNormal(double variance) {
  return -std::log(2 * std::numbers::pi * variance) / 2;
}

double chiSquare(const LandmarkPair& pair, const Point& p) {
  return squared(groundDistance(p, pair.session)) / pair.groundVariance +
         squared(p.y - pair.session.y) / pair.heightVariance;
}

/// Log-likelihoods of a candidate's residual as a flat and as a voluminous object.
std::pair<double, double> likelihoods(const Scene::Candidate& candidate, const Point& placed) {
  return {candidate.flatGain - chiSquare(candidate.flat, placed) / 2,
          candidate.voluminousGain - chiSquare(candidate.voluminous, placed) / 2};
}

double logSum(const std::pair<double, double>& terms) {
  const double greater = std::max(terms.first, terms.second);
  return greater + std::log(std::exp(terms.first - greater) + std::exp(terms.second - greater));
}

/// The pair with the variances that the residual speaks for: the mixture's local curvature.
LandmarkPair weighed(const Scene::Candidate& candidate, const Point& placed) {
  const auto terms = likelihoods(candidate, placed);
  const double flat = std::exp(terms.first - logSum(terms));
  LandmarkPair pair = candidate.flat;
  pair.groundVariance =
      1 / (flat / candidate.flat.groundVariance + (1 - flat) / candidate.voluminous.groundVariance);
  pair.heightVariance =
      1 / (flat / candidate.flat.heightVariance + (1 - flat) / candidate.voluminous.heightVariance);
  return pair;
}

/// The best partners with the map's objects placed so, each landmark at most once, strongest support first.
std::vector<const Scene::Candidate*> assign(const Scene& scene, const std::vector<Point>& placed) {
  std::vector<std::pair<double, const Scene::Candidate*>> supported;
  for (const Scene::Candidate& candidate : scene.candidates()) {
    const double support = scene.support(candidate, placed);
    if (support > 0) supported.emplace_back(-support, &candidate);
  }
  std::sort(supported.begin(), supported.end());
  std::vector<bool> mapTaken(scene.map().size(), false);
  std::vector<bool> sessionTaken(scene.session().size(), false);
  std::vector<const Scene::Candidate*> pairs;
  for (const auto& [support, candidate] : supported) {
    if (mapTaken[candidate->map] || sessionTaken[candidate->session]) continue;
    mapTaken[candidate->map] = sessionTaken[candidate->session] = true;
    pairs.push_back(candidate);
  }
  return pairs;
}

/// By how much the place of each pair is less surprising than anywhere in a room because it is near others:
/// cups stand together on tables in every room.
double logCompany(const Scene& scene, const std::vector<const Scene::Candidate*>& pairs) {
  double sum = 0;
  for (std::size_t i = 1; i < pairs.size(); ++i) {
    double nearest = INFINITY;
    for (std::size_t j = 0; j < i; ++j)
      nearest = std::min(nearest, groundDistance(pairs[i]->flat.session, pairs[j]->flat.session));
    const double near =
        std::exp(-squared(nearest / COMPANY_METERS) / 2) / (2 * std::numbers::pi * squared(COMPANY_METERS));
    sum += std::log((1 - SHARE_IN_COMPANY) + SHARE_IN_COMPANY * near * scene.roomArea());
  }
  return sum;
}

/// The Laplace approximation of the integral over all poses (docs/matching.md): the pairs' likelihoods at the
/// best pose, times the share of all poses that explains them as well.
double fitEvidence(const Scene& scene, const Pose& pose) {
  const std::vector<Point> placed = scene.placed(pose.fit.transform);
  double sum = -logCompany(scene, pose.pairs);
  for (const Scene::Candidate* pair : pose.pairs)
    sum += scene.support(*pair, placed) + scene.withoutPartner(scene.session()[pair->session]);
  const double turns = std::min(0.0, -logNormal(pose.fit.angleVariance) - std::log(2 * std::numbers::pi));
  return sum - 2 * logNormal(pose.fit.groundVariance) - logNormal(pose.fit.heightVariance) -
         std::log(scene.roomArea() * HEIGHT_RANGE) + turns;
}

/// True when the session has seen things around the place, so that an object there would have been seen too.
bool isInSight(const Scene& scene, const Pose& pose, const Landmark& landmark) {
  const Point p = pose.fit.transform.apply(landmark.position);
  return std::any_of(pose.pairs.begin(), pose.pairs.end(), [&](const Scene::Candidate* pair) {
    return groundDistance(pair->flat.session, p) < NEAR_SEEN && scene.session()[pair->session].sightings >= 4;
  });
}

void addUnmatched(const Scene& scene, Pose& pose) {
  std::vector<bool> mapTaken(scene.map().size(), false);
  std::vector<bool> sessionTaken(scene.session().size(), false);
  for (const Scene::Candidate* pair : pose.pairs) mapTaken[pair->map] = sessionTaken[pair->session] = true;
  for (std::size_t s = 0; s < scene.session().size(); ++s) {
    if (sessionTaken[s]) continue;
    pose.strangers.push_back(s);
    pose.unmatched += scene.withoutPartner(scene.session()[s]);
  }
  for (std::size_t m = 0; m < scene.map().size(); ++m) {
    const Landmark& landmark = scene.map()[m];
    if (mapTaken[m] || !isInSight(scene, pose, landmark)) continue;
    pose.missing.push_back(m);
    pose.unmatched += scene.withoutPartner(landmark) / 2;
  }
}

}  // namespace

Scene::Scene(std::vector<Landmark> map, std::vector<Landmark> session, double distance)
    : map_(std::move(map)),
      session_(std::move(session)),
      distance_(distance),
      roomArea_(std::max(areaAround(map_), areaAround(session_))) {
  for (const Landmark& landmark : map_) mapPoints_.push_back(landmark.position);
  std::vector<std::vector<Candidate>> ofSession(session_.size());
  std::vector<std::pair<std::size_t, std::size_t>> order;
  for (std::size_t s = 0; s < session_.size(); ++s) {
    for (std::size_t m = 0; m < map_.size(); ++m) {
      const double named = affinity(map_[m], session_[s]);
      if (named >= SMALLEST_AFFINITY) ofSession[s].push_back(candidate(m, s, named));
    }
    // Each of several objects of the name may be the one.
    const double choice = std::log(static_cast<double>(ofSession[s].size()));
    for (Candidate& candidate : ofSession[s]) {
      candidate.flatGain -= choice;
      candidate.voluminousGain -= choice;
    }
    order.emplace_back(ofSession[s].size(), s);
  }
  std::sort(order.begin(), order.end());
  for (const auto& [count, s] : order)
    candidates_.insert(candidates_.end(), ofSession[s].begin(), ofSession[s].end());
}

Scene::Candidate Scene::candidate(std::size_t m, std::size_t s, double named) const {
  const Landmark& a = map_[m];
  const Landmark& b = session_[s];
  const auto pair = [&](double variance) {
    return LandmarkPair{a.position, b.position, a.groundVariance + b.groundVariance + variance,
                        a.heightVariance + b.heightVariance + squared(HEIGHT_SPREAD_RATIO) * variance};
  };
  Candidate candidate{.map = m,
                      .session = s,
                      .flat = pair(2 * squared(FLAT_SPREAD)),
                      .voluminous = pair(2 * squared(FLAT_SPREAD) + squared(a.spread) + squared(b.spread))};
  const double prior =
      std::log(SHARE_UNMOVED * named * a.reliability * b.reliability * roomArea_ * HEIGHT_RANGE);
  const auto gain = [&](const LandmarkPair& of) {
    return prior + 2 * logNormal(of.groundVariance) + logNormal(of.heightVariance);
  };
  const double odds = SHARE_FLAT / (1 - SHARE_FLAT) *
                      std::exp(std::clamp(a.flatness + b.flatness, -LARGEST_FLATNESS, LARGEST_FLATNESS));
  candidate.flatGain = gain(candidate.flat) + std::log(odds / (1 + odds));
  candidate.voluminousGain = gain(candidate.voluminous) - std::log(1 + odds);
  return candidate;
}

double Scene::support(const Candidate& candidate, const std::vector<Point>& placed) const {
  const Point& p = placed[candidate.map];
  const Point& q = candidate.flat.session;
  if (squared(p.x - q.x) + squared(p.y - q.y) + squared(p.z - q.z) > squared(distance_)) return -1;
  return logSum(likelihoods(candidate, p)) - withoutPartner(session_[candidate.session]);
}

double Scene::withoutPartner(const Landmark& landmark) const {
  return std::log(1 - SHARE_UNMOVED * landmark.reliability);
}

Pose refine(const Scene& scene, const RigidTransform& start) {
  Pose pose;
  pose.fit.transform = start;
  double chi = 0;
  for (int round = 0; round < REFINEMENTS; ++round) {
    const std::vector<Point> placed = scene.placed(pose.fit.transform);
    pose.pairs = assign(scene, placed);
    if (pose.pairs.empty()) return pose;
    std::vector<LandmarkPair> pairs;
    pairs.reserve(pose.pairs.size());
    for (const Scene::Candidate* pair : pose.pairs) pairs.push_back(weighed(*pair, placed[pair->map]));
    pose.fit = fitTransform(pairs);
    chi = 0;
    for (const LandmarkPair& pair : pairs) chi += chiSquare(pair, pose.fit.transform.apply(pair.map));
  }
  const double freedom = std::max(0.0, 3.0 * static_cast<double>(pose.pairs.size()) - 4);
  pose.strain = std::max(1.0, (PRIOR_FREEDOM + chi) / (PRIOR_FREEDOM + freedom));
  pose.fitEvidence = fitEvidence(scene, pose);
  addUnmatched(scene, pose);
  return pose;
}

}  // namespace geoloom::localcloud
