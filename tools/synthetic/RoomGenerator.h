#pragma once

#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "geoloom/base/Result.h"

#include "tools/synthetic/Furniture.h"
#include "tools/synthetic/SceneDescription.h"

namespace geoloom::tools {

struct RoomOptions {
  unsigned seed = 1;
  std::size_t objects = 6;         ///< things that a detector may find; tables that carry some come besides
  std::vector<std::string> types;  ///< what they are; chosen by the seed when empty
  std::size_t moved = 0;           ///< of them, between the two walks
  std::size_t removed = 0;
  double seconds = 40;     ///< of each walk
  double driftMetres = 0;  ///< of the second walk's poses, a minute
  double driftDegrees = 0;
  std::size_t passersBy = 1;  ///< at most, in the second walk
};

/// A furnished room with two walks, "first" and "second": things stand at walls, on the floor and on tables,
/// chairs at tables, pictures hang on walls. The walks look at one thing after the other, at some twice; the
/// second begins elsewhere, goes round the other way, by other light, with a passer-by and in a frame of its
/// own. The same options give the same room. Fails only for a catalogue that lacks models.
[[nodiscard]] base::Result<SceneDescription> generateRoom(const RoomOptions& options,
                                                          const FurnitureCatalogue& catalogue);

/// What detectable things a room holds, for another room with the same.
[[nodiscard]] std::vector<std::string> typesIn(const SceneDescription& scene);

/// The models that rooms are furnished with, by the class that a detector should give them.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> modelsByClass();

/// The description in the form that parseScene reads.
[[nodiscard]] nlohmann::ordered_json toJSON(const SceneDescription& scene);

}  // namespace geoloom::tools
