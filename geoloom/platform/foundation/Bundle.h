#pragma once

#include <string>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// The application as a bundle. May be used from any thread.
class GEOLOOM_EXPORT Bundle {
 public:
  /// The identifier set in code, else the executable's name.
  [[nodiscard]] static std::string mainBundleIdentifier();
  /// Set before the first session is created; empty brings the default back.
  static void setMainBundleIdentifier(std::string identifier);
};

}  // namespace geoloom::platform
