#pragma once

#include <string>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// The application as a bundle. May be used from any thread.
class GEOLOOM_EXPORT Bundle {
 public:
  /// The identifier set in code, else the Flatpak's, else that under which the desktop started this very
  /// executable as an application, else the executable's name. What the system says is read once.
  [[nodiscard]] static std::string mainBundleIdentifier();
  /// Set before the first session is created; empty brings the default back.
  static void setMainBundleIdentifier(std::string identifier);
};

}  // namespace geoloom::platform
