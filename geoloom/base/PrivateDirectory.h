#pragma once

#include <filesystem>
#include <string_view>

namespace geoloom::base {

// Directories for the user alone (mode 0700). A `name` is a relative path below a root that never leaves it:
// one that is absolute, climbs (".."), holds a NUL or names nothing is refused, and no symbolic link below
// the root is followed. All answer whether it was done; `errno` says nothing afterwards.

/// Creates the directory and what is missing above it. Symbolic links on the way are the user's own and are
/// followed.
bool createPrivateDirectories(const std::filesystem::path& directory);

/// Creates the directory `name` below `root`, with those on the way to it and the root itself. The root
/// keeps its mode if it exists; what exists below it is for the user alone from then on.
[[nodiscard]] bool createPrivateDirectory(const std::filesystem::path& root, std::string_view name);

/// Removes `name` below `root` with all it holds; a symbolic link is removed itself. False also when there is
/// none, or when something could not be removed.
[[nodiscard]] bool removeBelow(const std::filesystem::path& root, std::string_view name);

}  // namespace geoloom::base
