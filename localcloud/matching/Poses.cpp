#include "localcloud/matching/Poses.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

namespace geoloom::localcloud {

namespace {

// Pairs closer together than this on the ground do not fix a heading.
constexpr double MINIMUM_SEPARATION_METERS = 0.5;
constexpr std::size_t MAXIMUM_HYPOTHESES = 1000;
constexpr std::size_t REFINED_HYPOTHESES = 24;
// Poses that differ by less are one.
constexpr double SAME_POSITION_METERS = 0.25;
constexpr double SAME_ANGLE = 5 * std::numbers::pi / 180;

/// True when one pose can bring both pairs together within four standard deviations.
bool isCompatible(const Scene::Candidate& a, const Scene::Candidate& b) {
  if (a.map == b.map || a.session == b.session) return false;
  const LandmarkPair& p = a.voluminous;
  const LandmarkPair& q = b.voluminous;
  const double onMap = groundDistance(p.map, q.map);
  if (onMap < MINIMUM_SEPARATION_METERS) return false;
  const double stretch = onMap - groundDistance(p.session, q.session);
  const double rise = (p.session.y - p.map.y) - (q.session.y - q.map.y);
  return stretch * stretch <= 16 * (p.groundVariance + q.groundVariance) &&
         rise * rise <= 16 * (p.heightVariance + q.heightVariance);
}

/// Sum of each session landmark's best support: quick, and at least what the pairs are worth.
double promise(const Scene& scene, const RigidTransform& transform) {
  const std::vector<Point> placed = scene.placed(transform);
  double sum = 0;
  double best = 0;
  const Scene::Candidate* previous = nullptr;
  for (const Scene::Candidate& candidate : scene.candidates()) {
    if (previous != nullptr && previous->session != candidate.session) {
      sum += best;
      best = 0;
    }
    best = std::max(best, scene.support(candidate, placed));
    previous = &candidate;
  }
  return sum + best;
}

bool isSame(const Pose& a, const Pose& b) {
  const Point p = a.fit.transform.apply(a.fit.centroid);
  const Point q = b.fit.transform.apply(a.fit.centroid);
  const double turn = std::remainder(a.fit.transform.angle - b.fit.transform.angle, 2 * std::numbers::pi);
  return distance(p, q) < SAME_POSITION_METERS && std::abs(turn) < SAME_ANGLE;
}

bool fixesHeading(const Pose& pose) {
  for (const Scene::Candidate* a : pose.pairs) {
    for (const Scene::Candidate* b : pose.pairs) {
      if (groundDistance(a->flat.map, b->flat.map) >= MINIMUM_SEPARATION_METERS) return true;
    }
  }
  return false;
}

/// Starts, each with its promise; the first MAXIMUM_HYPOTHESES.
std::vector<std::pair<double, RigidTransform>> hypotheses(const Scene& scene) {
  std::vector<std::pair<double, RigidTransform>> found;
  const std::vector<Scene::Candidate>& candidates = scene.candidates();
  for (std::size_t later = 1; later < candidates.size(); ++later) {
    for (std::size_t earlier = 0; earlier < later; ++earlier) {
      if (!isCompatible(candidates[earlier], candidates[later])) continue;
      const RigidTransform start =
          fitTransform({candidates[earlier].voluminous, candidates[later].voluminous}).transform;
      found.emplace_back(promise(scene, start), start);
      if (found.size() == MAXIMUM_HYPOTHESES) return found;
    }
  }
  return found;
}

}  // namespace

std::vector<Pose> findPoses(const Scene& scene) {
  auto starts = hypotheses(scene);
  std::stable_sort(starts.begin(), starts.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  if (starts.size() > REFINED_HYPOTHESES) starts.resize(REFINED_HYPOTHESES);
  std::vector<Pose> poses;
  for (const auto& [promised, start] : starts) {
    Pose pose = refine(scene, start);
    if (!fixesHeading(pose)) continue;
    const auto same =
        std::find_if(poses.begin(), poses.end(), [&](const Pose& p) { return isSame(p, pose); });
    if (same == poses.end())
      poses.push_back(std::move(pose));
    else if (pose.evidence() > same->evidence())
      *same = std::move(pose);
  }
  std::stable_sort(poses.begin(), poses.end(),
                   [](const Pose& a, const Pose& b) { return a.evidence() > b.evidence(); });
  return poses;
}

}  // namespace geoloom::localcloud
