#pragma once

#include <string_view>

namespace geoloom {

/// Creates the directory of that relative path in the application's documents directory, with those on the
/// way to it. The outcome is a line of the system log. Nothing happens where there is no documents directory.
void createDirectory(std::string_view name);

/// Removes the directory of that relative path in the application's documents directory with all it holds.
/// The outcome is a line of the system log; that there was none counts as a failure.
void removeDirectory(std::string_view name);

}  // namespace geoloom
