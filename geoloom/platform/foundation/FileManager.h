#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// The application's directories, one set for each main bundle identifier. They follow the XDG base
/// directories, which only this class reads from the environment; a directory set in code has precedence. No
/// directory is created. May be used from any thread.
class GEOLOOM_EXPORT FileManager {
 public:
  /// <XDG data home>/<bundle identifier>/documents, absent if no home is known.
  [[nodiscard]] static std::optional<std::filesystem::path> documentsDirectory();
  /// <XDG state home>/<bundle identifier>, absent if no home is known.
  [[nodiscard]] static std::optional<std::filesystem::path> stateDirectory();
  /// The XDG data home and data directories, which describe installed applications; most important first.
  [[nodiscard]] static std::vector<std::filesystem::path> dataDirectories();

  static void setDocumentsDirectory(std::optional<std::filesystem::path> directory);
  static void setStateDirectory(std::optional<std::filesystem::path> directory);
};

}  // namespace geoloom::platform
