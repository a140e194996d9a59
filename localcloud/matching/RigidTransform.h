#pragma once

#include <string>
#include <vector>

#include "localcloud/matching/Sighting.h"

namespace geoloom::localcloud {

/// q = R p + t with R about the vertical, by rows (cos, 0, sin), (0, 1, 0), (-sin, 0, cos).
struct RigidTransform {
  Point translation;
  double angle = 0;  ///< radians, in (-π, π]

  [[nodiscard]] Point apply(const Point& p) const;
  [[nodiscard]] std::vector<Point> apply(const std::vector<Point>& points) const;
  /// "x,y,z,angle" as the shortest texts of 32-bit floats.
  [[nodiscard]] std::string text() const;
};

/// One object in both coordinate systems, with the variances (m²) of the difference of the two positions.
struct LandmarkPair {
  Point map;
  Point session;
  double groundVariance = 1;  ///< along each of x and z
  double heightVariance = 1;
};

/// The least-squares transform of weighted pairs and how well they determine it.
struct Fit {
  RigidTransform transform;
  Point centroid;             ///< of the pairs, in the map's coordinates
  double groundVariance = 0;  ///< of the translation along each of x and z at the centroid, m²
  double heightVariance = 0;  ///< m²
  double angleVariance = 0;   ///< rad²; infinite for pairs above one another

  /// Mean squared distance between where `p` of the map is placed and where it belongs, m².
  [[nodiscard]] double errorVariance(const Point& p) const;
};

/// Of at least one pair. With p in the map and q in the session relative to their weighted centroids,
/// θ = atan2(Σ w (pz qx − px qz), Σ w (px qx + pz qz)) (Horn 1987, restricted to the vertical axis); the
/// variances are the inverse of the normal equations, which are diagonal about the centroid.
[[nodiscard]] Fit fitTransform(const std::vector<LandmarkPair>& pairs);

}  // namespace geoloom::localcloud
