#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "geoloom/platform/foundation/Result.h"

namespace geoloom::platform {

/// All bytes of a regular file; the failure names it.
[[nodiscard]] Result<std::string> readFile(const std::filesystem::path& path, std::uint64_t maximumBytes);

}  // namespace geoloom::platform
