#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "geoloom/base/Result.h"

namespace geoloom::base {

/// All bytes of a regular file; the failure names it.
[[nodiscard]] Result<std::string> readFile(const std::filesystem::path& path, std::uint64_t maximumBytes);
/// The same, or what comes out of a pipe until its end, for which it waits.
[[nodiscard]] Result<std::string> readFileOrPipe(const std::filesystem::path& path,
                                                 std::uint64_t maximumBytes);

/// What a file of the system says, also one of /proc; empty where there is none.
[[nodiscard]] std::string contentOf(const std::filesystem::path& path);

}  // namespace geoloom::base
