#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/simd.h"
#include "geoloom/session/types/MapAsset.h"

namespace geoloom::tools {

/// An asset with its position in metres, y up, and its orientation in radians about the vertical.
struct Placement {
  std::string id;
  double x = 0;
  double y = 0;
  double z = 0;
  double orientation = 0;
};

/// A file of assets (docs/replay.md).
struct Placements {
  enum class Frame {
    session,   ///< coordinates of the session that places them
    recording  ///< coordinates of the recording, its z-up (x, y, z) as (x, z, -y)
  };
  Frame frame = Frame::session;
  std::vector<Placement> assets;
};

[[nodiscard]] base::Result<Placements> parsePlacements(std::string_view json, const std::string& name);
[[nodiscard]] base::Result<Placements> readPlacements(const std::filesystem::path& path);

/// The assets in the session's coordinates.
[[nodiscard]] std::vector<Placement> inSession(const Placements& placements,
                                               const platform::simd_float4x4& sessionFromRecording);

}  // namespace geoloom::tools
