#pragma once

namespace geoloom::platform {

/// Red, green, blue and opacity, each 0 to 1.
struct UIColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  friend bool operator==(const UIColor&, const UIColor&) = default;

  [[nodiscard]] static constexpr UIColor clearColor() { return {0, 0, 0, 0}; }
  [[nodiscard]] static constexpr UIColor blackColor() { return {0, 0, 0, 1}; }
  [[nodiscard]] static constexpr UIColor whiteColor() { return {1, 1, 1, 1}; }
  [[nodiscard]] static constexpr UIColor redColor() { return {1, 0, 0, 1}; }
  [[nodiscard]] static constexpr UIColor cyanColor() { return {0, 1, 1, 1}; }
  [[nodiscard]] static constexpr UIColor purpleColor() { return {0.5, 0, 0.5, 1}; }
};

}  // namespace geoloom::platform
