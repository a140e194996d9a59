#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// The application's directories, one set per main bundle identifier. They follow the XDG base directories,
/// which only this class reads from the environment; a directory set in code wins. None of them is created
/// here.
class GEOLOOM_EXPORT FileManager {
 public:
  /// <XDG data home>/<bundle identifier>/documents, or nothing where no home is known.
  [[nodiscard]] static std::optional<std::filesystem::path> documentsDirectory();
  /// <XDG state home>/<bundle identifier>, or nothing where no home is known.
  [[nodiscard]] static std::optional<std::filesystem::path> stateDirectory();
  /// Where installed applications are described: the XDG data home and the XDG data directories, most
  /// important first.
  [[nodiscard]] static std::vector<std::filesystem::path> dataDirectories();

  static void setDocumentsDirectory(std::optional<std::filesystem::path> directory);
  static void setStateDirectory(std::optional<std::filesystem::path> directory);
};

}  // namespace geoloom::platform
