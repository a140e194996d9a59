#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/replay/Trace.h"

namespace geoloom::tools {

/// Writes the frame in which each well-seen object was recognised best, upright, with the tracked boxes of
/// what was recognised in it and, after a localization, the relocalized assets: `prefix`-<name>.png in
/// `folder`. Returns the files.
[[nodiscard]] base::Result<std::vector<std::filesystem::path>> writeKeyFrames(
    const Trace& trace, const std::filesystem::path& folder, const std::string& prefix);

}  // namespace geoloom::tools
