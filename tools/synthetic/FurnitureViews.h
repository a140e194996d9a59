#pragma once

#include <string>
#include <vector>

#include "geoloom/base/Result.h"
#include "geoloom/platform/imaging/PNG.h"

#include "tools/synthetic/RoomMesh.h"

namespace geoloom::tools {

/// Square pictures of a furniture model that stands in an empty room, from eight sides and 15 degrees above.
/// The failure names a model that the catalogues lack.
[[nodiscard]] base::Result<std::vector<platform::PNGImage>> picturesAround(const std::string& model,
                                                                           const RoomSources& sources);

}  // namespace geoloom::tools
