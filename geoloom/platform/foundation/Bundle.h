#pragma once

#include <string>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// The application as a bundle. May be used from any thread.
class GEOLOOM_EXPORT Bundle {
 public:
  /// The identifier set in code, else that of the Flatpak, else that of the desktop entry that started this
  /// executable, else the executable's name. Looked up in the system once.
  [[nodiscard]] static std::string mainBundleIdentifier();
  /// Set before the first session is created; empty restores the default.
  static void setMainBundleIdentifier(std::string identifier);
};

}  // namespace geoloom::platform
