#pragma once

#include <string>

namespace geoloom::platform {

/// A font by name. The size is in points in a view and in metres in a scene.
struct UIFont {
  std::string name;
  double size = 0;
  friend bool operator==(const UIFont&, const UIFont&) = default;
};

}  // namespace geoloom::platform
