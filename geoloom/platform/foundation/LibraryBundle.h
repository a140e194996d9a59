#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// What is shipped beside the library. May be used from any thread.
class GEOLOOM_EXPORT LibraryBundle {
 public:
  /// The resource `name`.`extension`: where setPathForResource says, else beside the file that this code was
  /// loaded from, the library or a program that holds it: in its folder, in "geoloom" in or next to that, or
  /// in the "geoloom" folders of the installation's library and data directories. Nothing where none of them
  /// has it.
  [[nodiscard]] static std::optional<std::filesystem::path> pathForResource(std::string_view name,
                                                                            std::string_view extension);

  /// Says where a resource is, whether or not it exists; an empty path brings the search back. Set before the
  /// first session is created.
  static void setPathForResource(std::string_view name, std::string_view extension,
                                 std::filesystem::path path);
};

}  // namespace geoloom::platform
