#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// Resources shipped with the library. May be used from any thread.
class GEOLOOM_EXPORT LibraryBundle {
 public:
  /// The path of the resource `name`.`extension`: the one set by setPathForResource, else the first that
  /// exists near the file that contains this code (the library, or a program that links it statically): in
  /// its folder, in "geoloom" in or next to that folder, or in the "geoloom" folders of the installation's
  /// library and data directories. Absent if the resource is not found.
  [[nodiscard]] static std::optional<std::filesystem::path> pathForResource(std::string_view name,
                                                                            std::string_view extension);

  /// Sets the path of a resource, whether or not it exists; an empty path restores the search. Set before the
  /// first session is created.
  static void setPathForResource(std::string_view name, std::string_view extension,
                                 std::filesystem::path path);
};

}  // namespace geoloom::platform
