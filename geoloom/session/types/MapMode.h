#pragma once

#include <optional>

namespace geoloom {

/// The purpose of a session.
enum class MapMode : long {
  /// Make a new shared map of the place.
  mapping = 0,
  /// Recognise a place that was mapped before.
  localization = 1,
};

/// The number in other languages and in log lines.
[[nodiscard]] constexpr long rawValue(MapMode mode) {
  return static_cast<long>(mode);
}

/// Absent if the number is not a mode.
[[nodiscard]] constexpr std::optional<MapMode> mapModeFromRawValue(long raw) {
  if (raw < 0 || raw > 1) return std::nullopt;
  return static_cast<MapMode>(raw);
}

}  // namespace geoloom
