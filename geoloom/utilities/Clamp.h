#pragma once

#include <concepts>

namespace geoloom {

/// `x` limited to [`min`, `max`]. The lower bound is tested first: with `min` > `max`, a value below `min`
/// gives `min` and any other value gives `max`. NaN is returned unchanged. T needs `<` and `>`.
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
