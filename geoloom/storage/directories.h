#pragma once

#include <string_view>

namespace geoloom {

// Directories below the application's documents directory, with mode 0700. The result is one line of the
// system log; without a documents directory nothing happens. A name outside it (absolute, or with "..")
// fails, and symbolic links below it are never followed.

/// Creates the directory of that relative path and its missing parents.
void createDirectory(std::string_view name);

/// Removes the directory of that relative path and its content. Fails if it does not exist.
void removeDirectory(std::string_view name);

}  // namespace geoloom
