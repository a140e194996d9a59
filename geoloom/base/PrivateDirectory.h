#pragma once

#include <filesystem>
#include <string_view>

namespace geoloom::base {

// Directories with mode 0700: their content is private. A `name` is a relative path below a root; it is
// rejected if it is absolute, empty, or contains ".." or a NUL. No symbolic link below the root is followed.
// All functions return true on success; `errno` is unspecified afterwards.

/// Creates the directory and its missing parents. Follows symbolic links.
bool createPrivateDirectories(const std::filesystem::path& directory);

/// Creates the directory `name` below `root` and its missing parents, including the root. An existing root
/// keeps its mode; existing directories below it get mode 0700.
[[nodiscard]] bool createPrivateDirectory(const std::filesystem::path& root, std::string_view name);

/// Removes `name` below `root` with its content; a symbolic link is removed itself. False also if it does not
/// exist or if a part could not be removed.
[[nodiscard]] bool removeBelow(const std::filesystem::path& root, std::string_view name);

}  // namespace geoloom::base
