#pragma once

#include <type_traits>

namespace geoloom {

/// `x` limited to [`min`, `max`]. The lower bound is tested first, so that with `min` > `max` a value below
/// `min` yields `min` and any other `max`; a value that is unordered with both (NaN) passes unchanged. Needs
/// only `<` and `>`.
template <class T>
[[nodiscard]] constexpr T clamp(const T& x, const std::type_identity_t<T>& min,
                                const std::type_identity_t<T>& max) {
  if (x < min) return min;
  if (x > max) return max;
  return x;
}

}  // namespace geoloom
