#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/types/MapAsset.h"

namespace geoloom {

/// The numbers of a transform text: translation x, y, z in metres, the rotation about the vertical axis in
/// radians, then others. They are separated by commas; empty pieces are dropped, and a piece that does not
/// begin with a number is 0. No text is an error.
[[nodiscard]] std::vector<float> parseTransform(std::string_view text);

/// The placements of a stored-assets answer, moved by a transform of at least four numbers from the map's
/// coordinates to the session's: rotated about the vertical axis, then translated (MapTransform).
/// Orientations are not changed. Placements with a missing or mistyped field are left out. Prints four lines
/// for each placement.
[[nodiscard]] std::vector<std::shared_ptr<MapAsset>> relocalize(const platform::JSON& storedAssets,
                                                                const std::vector<float>& transform,
                                                                const platform::LineSink& print);

/// Copies of the assets with the positions moved by the first three numbers of `translation` and with
/// `confidence`, for placements in a localized session. Null entries are left out.
[[nodiscard]] std::vector<std::shared_ptr<MapAsset>> resolved(
    const std::vector<std::shared_ptr<MapAsset>>& assets, const std::vector<float>& translation,
    float confidence);

}  // namespace geoloom
