#pragma once

#include <optional>
#include <string>
#include <vector>

/// Where one session stands in the coordinates of another, from the named objects that both have seen. Pure
/// functions; the same input gives the same result. Positions are metres, y up; only the heading differs
/// between sessions, since both know which way is down.
namespace geoloom::localcloud {

struct Point {
  double x = 0;
  double y = 0;
  double z = 0;
};

/// One sighting of an object.
struct Observation {
  std::string name;
  Point position;
};

/// An object that was seen one or more times.
struct Landmark {
  std::string name;
  Point position;
  int sightings = 1;
};

/// q = R p + t with R about the vertical, by rows (cos, 0, sin), (0, 1, 0), (-sin, 0, cos).
struct RigidTransform {
  Point translation;
  double angle = 0;  ///< radians, in (-π, π]

  [[nodiscard]] Point apply(const Point& p) const;
  /// "x,y,z,angle" as the shortest texts of 32-bit floats.
  [[nodiscard]] std::string text() const;
};

/// Two landmarks of one name, one of each session.
struct LandmarkPair {
  Point map;
  Point session;
  double weight = 1;
};

struct Localization {
  RigidTransform transform;         ///< from the map's coordinates to the session's
  std::vector<LandmarkPair> pairs;  ///< distinct, each within the distance under the transform
  double residual = 0;              ///< root mean square distance of the pairs, metres
};

/// Pairs closer together than this on the ground do not fix a heading.
inline constexpr double MINIMUM_SEPARATION_METERS = 0.5;

/// Objects of one name within `distance` of each other are one landmark, whose position is robust against
/// stray sightings. Observations that are not finite are left out. Landmarks are in order of name, then of
/// most sightings.
[[nodiscard]] std::vector<Landmark> findLandmarks(const std::vector<Observation>& observations,
                                                  double distance);

/// The transform under which the most landmarks of one name pair up within `distance`; among equals the one
/// with the smallest residual. Nothing unless two of the pairs stand MINIMUM_SEPARATION_METERS apart on the
/// ground.
[[nodiscard]] std::optional<Localization> matchLandmarks(const std::vector<Landmark>& map,
                                                         const std::vector<Landmark>& session,
                                                         double distance);

/// The least-squares transform of weighted pairs (at least one).
[[nodiscard]] RigidTransform fitTransform(const std::vector<LandmarkPair>& pairs);

/// Both steps.
[[nodiscard]] std::optional<Localization> localize(const std::vector<Observation>& map,
                                                   const std::vector<Observation>& session, double distance);

}  // namespace geoloom::localcloud
