#pragma once

#include <string>

namespace geoloom::platform {

/// A font by its name; the size is in the unit of what is drawn (points of a view, metres of a scene).
struct UIFont {
  std::string name;
  double size = 0;
  friend bool operator==(const UIFont&, const UIFont&) = default;
};

}  // namespace geoloom::platform
