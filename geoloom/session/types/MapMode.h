#pragma once

#include <optional>

namespace geoloom {

/// What a session does in a place.
enum class MapMode : long {
  /// A new shared map of the place is being made.
  mapping = 0,
  /// A place that was mapped before is to be recognised.
  localization = 1,
};

/// The number that crosses language boundaries and stands in log lines.
[[nodiscard]] constexpr long rawValue(MapMode mode) {
  return static_cast<long>(mode);
}

/// Nothing for a number that is no mode.
[[nodiscard]] constexpr std::optional<MapMode> mapModeFromRawValue(long raw) {
  if (raw < 0 || raw > 1) return std::nullopt;
  return static_cast<MapMode>(raw);
}

}  // namespace geoloom
