#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/replay/Trace.h"

namespace geoloom::tools {

/// Writes the few frames that together show each asset and each well-seen object, upright, with the tracked
/// boxes and names of what was recognised in them and with the assets (as placed in a mapping session, as
/// they came back in a localization): `prefix`-<number>.png in `folder`. Returns the files.
[[nodiscard]] base::Result<std::vector<std::filesystem::path>> writeKeyFrames(
    const Trace& trace, const std::filesystem::path& folder, const std::string& prefix);

}  // namespace geoloom::tools
