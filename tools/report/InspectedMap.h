#pragma once

#include <optional>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/platform/imaging/PNG.h"

namespace geoloom::tools {

/// What a mapping service says about a map (docs/localcloud.md). Metres in the map's coordinates.
struct InspectedMap {
  struct Object {
    std::string name;
    double sightings = 0;
    double x = 0;
    double y = 0;
    double z = 0;
    double spread = 0;  ///< standard deviation of its position between walks along a ground axis
    bool isAmbiguous = false;
  };
  struct Asset {
    std::string id;
    double x = 0;
    double z = 0;
  };
  std::vector<Object> objects;
  std::vector<Asset> assets;
  std::string reason;  ///< "accepted" if sessions can be localized, or why not
  std::optional<double> predictedError;
  std::vector<std::string> smallestSet;  ///< names of objects that suffice together
};

/// The failure begins with `name`.
[[nodiscard]] base::Result<InspectedMap> readInspectedMap(const platform::JSON& answer,
                                                          const std::string& name);

/// The lines that tell a person what the map knows and whether to scan on.
[[nodiscard]] std::vector<std::string> linesOf(const InspectedMap& map);

/// The map from above, x to the right, z down: each object with its spread as a ring, ambiguous ones in
/// another colour, and the assets.
[[nodiscard]] platform::PNGImage planOf(const InspectedMap& map);

}  // namespace geoloom::tools
