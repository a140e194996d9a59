#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "geoloom/base/Result.h"

namespace geoloom::base {

/// All bytes of a regular file; the failure names it.
[[nodiscard]] Result<std::string> readFile(const std::filesystem::path& path, std::uint64_t maximumBytes);
/// The same, but also reads a pipe until its end.
[[nodiscard]] Result<std::string> readFileOrPipe(const std::filesystem::path& path,
                                                 std::uint64_t maximumBytes);

/// The content of a system file, such as one in /proc; empty if it cannot be read.
[[nodiscard]] std::string contentOf(const std::filesystem::path& path);

}  // namespace geoloom::base
