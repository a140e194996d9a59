#pragma once

#include <concepts>

namespace geoloom {

/// `x` limited to [`min`, `max`]. The lower bound is tested first, so that with `min` > `max` a value below
/// `min` yields `min` and any other `max`; a value that is unordered with both (NaN) passes unchanged. Needs
/// only `<` and `>`.
template <class T>
[[nodiscard]] constexpr T clamp(const T& x, const T& min, const T& max) {
  if (x < min) return min;
  if (x > max) return max;
  return x;
}
template <std::floating_point T, std::integral Bound>
[[nodiscard]] constexpr T clamp(T x, Bound min, Bound max) {
  return clamp(x, static_cast<T>(min), static_cast<T>(max));
}

}  // namespace geoloom
