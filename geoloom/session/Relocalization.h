#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/types/MapAsset.h"

namespace geoloom {

/// The numbers of a transform text: translation x, y, z in metres, the rotation about the vertical axis in
/// radians, then whatever follows. They are separated by commas, of which several in a row count as one; a
/// piece that does not begin with a number is 0. Never throws; any text yields a list.
[[nodiscard]] std::vector<float> parseTransform(std::string_view text);

/// Moves the placements of a stored-assets answer with a transform of at least four numbers, from the map's
/// coordinates to the session's: rotated about the vertical axis, then translated. Orientations stay as they
/// were stored. Placements without all of their fields are left out. What was done is told to `print`, four
/// lines a placement.
[[nodiscard]] std::vector<std::shared_ptr<MapAsset>> relocalize(const platform::JSON& storedAssets,
                                                                const std::vector<float>& transform,
                                                                const platform::LineSink& print);

/// The reverse way, for placements made while the session is localized: new assets whose positions are moved
/// by the first three numbers of `translation` and which carry `confidence`. Absent ones are left out.
[[nodiscard]] std::vector<std::shared_ptr<MapAsset>> resolved(
    const std::vector<std::shared_ptr<MapAsset>>& assets, const std::vector<float>& translation,
    float confidence);

}  // namespace geoloom
