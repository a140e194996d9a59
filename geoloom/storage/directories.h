#pragma once

#include <string_view>

namespace geoloom {

// Directories of the application's documents directory, for the user alone (mode 0700). The outcome is a line
// of the system log and nothing else; nothing happens where there is no documents directory. A name that is
// not a path below it (absolute, or with "..") fails, and symbolic links below it are never followed.

/// Creates the directory of that relative path, with those on the way to it.
void createDirectory(std::string_view name);

/// Removes the directory of that relative path with all it holds; that there was none counts as a failure.
void removeDirectory(std::string_view name);

/// Removes the first and creates the second before anybody else's turn: sessions that start together leave
/// one directory.
void replaceDirectory(std::string_view removed, std::string_view created);

}  // namespace geoloom
