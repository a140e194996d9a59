#pragma once

#include <map>
#include <string>
#include <vector>

#include "localcloud/matching/Sighting.h"

namespace geoloom::localcloud {

/// An object as a session's sightings show it.
struct Landmark {
  std::map<std::string, double> names;  ///< share of each name, sums to 1
  Point position;
  double groundVariance = 0;  ///< of the mean of the sightings along each of x and z, m²
  double heightVariance = 0;  ///< m²
  double spread = 0;       ///< by which the mean differs between viewpoints if the object has volume, metres
  double flatness = 0;     ///< log-likelihood ratio of the scatter for a flat thing against one with volume
  double sightings = 0;    ///< frames in which it was seen
  double reliability = 0;  ///< probability that an object stands here: what is seldom seen is often a ghost

  [[nodiscard]] const std::string& name() const;  ///< the most frequent one
};

/// How old sightings count.
enum class Age {
  ignored,  ///< a map: its frame is what everything is relative to
  fades     ///< a session: poses drift, so the recent sightings are the ones that say where it stands now
};

/// Groups sightings into objects: sightings of one name within the class's radius, and groups of different
/// names at one place unless frames show both side by side. Positions are robust against sightings that
/// slipped past the object. Best-seen first, at most 96, at most 24 of a name; deterministic. Positions that
/// are not finite are left out.
[[nodiscard]] std::vector<Landmark> findLandmarks(const std::vector<Sighting>& sightings, Age age);

}  // namespace geoloom::localcloud
