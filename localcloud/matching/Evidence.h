#pragma once

#include <cstddef>
#include <vector>

#include "localcloud/matching/Landmarks.h"
#include "localcloud/matching/RigidTransform.h"

namespace geoloom::localcloud {

/// What two sessions saw, prepared for the comparison of poses.
class Scene {
 public:
  /// `distance`: two positions of one object never differ by more, metres.
  Scene(std::vector<Landmark> map, std::vector<Landmark> session, double distance);

  /// A landmark of each side that may be the same object: flat, or with a volume that shifts its position
  /// between viewpoints.
  struct Candidate {
    std::size_t map = 0;
    std::size_t session = 0;
    LandmarkPair flat;
    LandmarkPair voluminous;
    double flatGain = 0;  ///< log-likelihood ratio of a perfect fit against an object anywhere in the room
    double voluminousGain = 0;
  };

  [[nodiscard]] const std::vector<Landmark>& map() const { return map_; }
  [[nodiscard]] const std::vector<Landmark>& session() const { return session_; }
  /// In order of session landmark; those with few alternatives first.
  [[nodiscard]] const std::vector<Candidate>& candidates() const { return candidates_; }
  [[nodiscard]] double roomArea() const { return roomArea_; }

  /// Where a transform places the map's landmarks.
  [[nodiscard]] std::vector<Point> placed(const RigidTransform& transform) const {
    return transform.apply(mapPoints_);
  }
  /// Log-likelihood ratio of the two being one object against the session's object having no partner, with
  /// the map's objects placed so. Negative beyond the matching distance.
  [[nodiscard]] double support(const Candidate& candidate, const std::vector<Point>& placed) const;
  /// Log-probability of a session landmark without partner.
  [[nodiscard]] double withoutPartner(const Landmark& landmark) const;

 private:
  [[nodiscard]] Candidate candidate(std::size_t m, std::size_t s, double named) const;

  std::vector<Landmark> map_;
  std::vector<Landmark> session_;
  std::vector<Point> mapPoints_;
  double distance_;
  double roomArea_ = 0;
  std::vector<Candidate> candidates_;
};

/// A pose of the session in the map, and what speaks for it.
struct Pose {
  Fit fit;
  std::vector<const Scene::Candidate*> pairs;  ///< of the scene, which has to outlive the pose
  double fitEvidence = 0;                      ///< log Bayes factor of the pairs alone
  double unmatched = 0;                        ///< log cost of the objects without partner, negative
  double strain = 0;  ///< χ² of the residuals divided by their degrees of freedom, shrunk towards 1
  std::vector<std::size_t> strangers;  ///< session landmarks without partner
  std::vector<std::size_t> missing;    ///< map landmarks without partner in the part that the session saw

  /// Log Bayes factor of "the session stands here" against "the session is in another room with such
  /// objects".
  [[nodiscard]] double evidence() const { return fitEvidence + unmatched; }
};

/// Pairs landmarks under `start`, fits, and repeats until the pairs no longer change. No pairs when nothing
/// supports the pose.
[[nodiscard]] Pose refine(const Scene& scene, const RigidTransform& start);

}  // namespace geoloom::localcloud
