#include "localcloud/matching/Decision.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "localcloud/matching/Poses.h"

namespace geoloom::localcloud {

namespace {

// Calibrated with `geoloom evaluate` (docs/matching.md).
constexpr double EVIDENCE_TO_ACCEPT = 2.5;
constexpr double MARGIN_TO_RUNNER_UP = 6;
constexpr double LARGEST_STRAIN = 4;
constexpr double LARGEST_PREDICTED_ERROR_METERS = 0.3;
constexpr double VISIBLE_MOVE_METERS = 0.02;
constexpr double CLEARLY_SHARPER = 0.7;
// Seen from one side, all objects seem to stand nearer; this share of a pair's variance does not average out.
constexpr double SHARED_ERROR = 0.15;
// A normal error over the ground exceeds its root mean square times √(ln 20) in one case of twenty.
constexpr double RADIUS_OF_95_PERCENT = 1.73;
constexpr double HALF_QUALITY_METERS = 0.1;

double predictedError(const Pose& pose, const std::vector<Point>& places) {
  double worst = 0;
  for (const Point& place : places) worst = std::max(worst, pose.fit.errorVariance(place));
  const double common = SHARED_ERROR * static_cast<double>(pose.pairs.size()) *
                        (2 * pose.fit.groundVariance + pose.fit.heightVariance);
  return RADIUS_OF_95_PERCENT * std::sqrt(worst * pose.strain + common);
}

/// An object without partner moved if the other side has one of its name without partner too.
void nameUnmatched(const Scene& scene, const Pose& pose, Localization& result) {
  std::vector<bool> matched(scene.map().size(), false);
  for (const Scene::Candidate* pair : pose.pairs) matched[pair->map] = true;
  for (const std::size_t s : pose.strangers) {
    const std::string& name = scene.session()[s].name();
    for (std::size_t m = 0; m < scene.map().size(); ++m) {
      if (matched[m] || scene.map()[m].name() != name) continue;
      matched[m] = true;
      result.moved.push_back(name);
      break;
    }
  }
  for (const std::size_t m : pose.missing) {
    if (!matched[m]) result.missing.push_back(scene.map()[m].name());
  }
}

Reason reasonFor(const Pose& pose, const std::optional<double>& runnerUp, double error) {
  if (pose.strain > LARGEST_STRAIN) return Reason::poorFit;
  if (pose.evidence() < EVIDENCE_TO_ACCEPT)
    return pose.fitEvidence < EVIDENCE_TO_ACCEPT ? Reason::tooFewObjects : Reason::missingObjects;
  if (runnerUp && *runnerUp > -MARGIN_TO_RUNNER_UP) return Reason::couldBeElsewhere;
  if (!(error <= LARGEST_PREDICTED_ERROR_METERS)) return Reason::predictedErrorTooLarge;
  return Reason::accepted;
}

}  // namespace

const char* text(Reason reason) {
  switch (reason) {
    case Reason::accepted:
      return "accepted";
    case Reason::tooFewObjects:
      return "too few objects";
    case Reason::poorFit:
      return "poor fit";
    case Reason::couldBeElsewhere:
      return "could be elsewhere too";
    case Reason::missingObjects:
      return "objects expected here are missing";
    case Reason::predictedErrorTooLarge:
      return "predicted error too large";
  }
  return "";
}

double qualityOf(double predictedErrorMeters) {
  return HALF_QUALITY_METERS / (HALF_QUALITY_METERS + predictedErrorMeters);
}

Localization decide(const Scene& scene, const std::vector<Pose>& poses, const std::vector<Point>& places) {
  Localization result;
  for (const Landmark& landmark : scene.session()) result.objects.push_back(landmark.name());
  if (poses.empty()) return result;
  const Pose& best = poses.front();
  result.estimate = {best.fit.transform, predictedError(best, places)};
  result.matchCount = best.pairs.size();
  if (poses.size() > 1) result.runnerUp = poses[1].evidence() - best.evidence();
  result.reason = reasonFor(best, result.runnerUp, result.estimate.predictedErrorMeters);
  nameUnmatched(scene, best, result);
  return result;
}

bool replaces(const Estimate& newer, const Estimate& older, const std::vector<Point>& places) {
  if (newer.predictedErrorMeters < CLEARLY_SHARPER * older.predictedErrorMeters) return true;
  return std::any_of(places.begin(), places.end(), [&](const Point& place) {
    return distance(newer.transform.apply(place), older.transform.apply(place)) > VISIBLE_MOVE_METERS;
  });
}

Localization localize(std::vector<Landmark> map, std::vector<Landmark> session,
                      const std::vector<Point>& places, double distance) {
  const Scene scene(std::move(map), std::move(session), distance);
  if (!places.empty()) return decide(scene, findPoses(scene), places);
  std::vector<Point> objects;
  for (const Landmark& landmark : scene.map()) objects.push_back(landmark.position);
  return decide(scene, findPoses(scene), objects);
}

}  // namespace geoloom::localcloud
