#pragma once

#include <optional>
#include <string>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// The device that the process runs on. Nothing is cached; may be used from any thread.
class GEOLOOM_EXPORT UIDevice {
 public:
  [[nodiscard]] static const UIDevice& current();

  /// The operating system's version from its os-release file, such as "12"; empty if the file has none.
  [[nodiscard]] std::string systemVersion() const;

  /// The kernel's name of the hardware, such as "x86_64" or "aarch64".
  [[nodiscard]] std::string modelIdentifier() const;

  /// A random UUID (36 characters, upper case) that stays the same for all processes of this user with this
  /// bundle identifier: created at the first call and stored with mode 0600 in the state directory. Absent
  /// if it cannot be stored.
  [[nodiscard]] std::optional<std::string> identifierForVendor() const;

 private:
  UIDevice() = default;
};

}  // namespace geoloom::platform
