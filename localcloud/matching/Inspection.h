#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "localcloud/matching/Decision.h"
#include "localcloud/matching/Landmarks.h"

namespace geoloom::localcloud {

/// What a map knows, and whether a session can be localized by it.
struct Inspection {
  std::vector<Landmark> objects;
  /// For each object, whether another one of the map may be taken for it by its name.
  std::vector<bool> isAmbiguous;
  /// Of a session that sees every object as the map does: the most that can be expected.
  Localization expected;
  /// Numbers of objects that suffice together, as few as found; empty if all do not.
  std::vector<std::size_t> smallestSet;
};

/// Without places the error is predicted at the objects. `distance` as for Scene. Bounded work.
[[nodiscard]] Inspection inspect(const std::vector<Landmark>& map, const std::vector<Point>& places,
                                 double distance);

}  // namespace geoloom::localcloud
