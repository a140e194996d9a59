#pragma once

#include <optional>
#include <string>
#include <vector>

#include "localcloud/matching/Evidence.h"

namespace geoloom::localcloud {

enum class Reason {
  accepted,
  tooFewObjects,          ///< what is seen could be in any room
  poorFit,                ///< the distances between the objects disagree
  couldBeElsewhere,       ///< another pose explains the sightings nearly as well
  missingObjects,         ///< objects expected at this pose were not seen, or others stand there
  predictedErrorTooLarge  ///< the assets are too far from the objects for their precision
};

/// The reason as the service's answer says it.
[[nodiscard]] const char* text(Reason reason);

/// Where a session stands in a map.
struct Estimate {
  RigidTransform transform;         ///< from the map's coordinates to the session's
  double predictedErrorMeters = 0;  ///< 95% of the answers are closer, at the worst placement
};

/// What is known about where a session stands, and why no more.
struct Localization {
  Reason reason = Reason::tooFewObjects;
  Estimate estimate;                 ///< the best pose, accepted or not; meaningless without pairs
  std::size_t matchCount = 0;        ///< paired objects
  std::optional<double> runnerUp;    ///< evidence of the second-best pose less that of the best, at most 0
  std::vector<std::string> objects;  ///< names of what the session sees
  std::vector<std::string> moved;    ///< names of objects that stand elsewhere than in the map
  std::vector<std::string> missing;  ///< names of the map's objects that should have been seen

  [[nodiscard]] bool accepted() const { return reason == Reason::accepted; }
};

/// In [0, 1]; falls strictly with the predicted error e: 0.1 m / (0.1 m + e).
[[nodiscard]] double qualityOf(double predictedErrorMeters);

/// Decides between poses, which are ordered by decreasing evidence. `places` are the points of the map where
/// assets stand.
[[nodiscard]] Localization decide(const Scene& scene, const std::vector<Pose>& poses,
                                  const std::vector<Point>& places);

/// True when the newer answer would move some asset visibly or promises clearly more precision. Smaller
/// changes would only make assets jitter.
[[nodiscard]] bool replaces(const Estimate& newer, const Estimate& older, const std::vector<Point>& places);

/// From landmarks to the decision. Without places the error is predicted at the map's objects.
[[nodiscard]] Localization localize(std::vector<Landmark> map, std::vector<Landmark> session,
                                    const std::vector<Point>& places, double distance);

}  // namespace geoloom::localcloud
