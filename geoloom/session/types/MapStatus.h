#pragma once

#include <optional>

namespace geoloom {

/// The result of opening a session, reported to the status callback on the main queue, at most once per
/// session. Reserved values are never reported; treat them as unknown.
enum class MapStatus : long {
  /// The service has assigned the session's identifiers; a mapping session accepts placements from now on.
  initialized = 0,
  /// The service has no map with that identifier; in localization mode only.
  mapNotFound = 1,
  /// The service could not be reached, or its answer was not valid.
  connectionFailed = 2,
  reserved3 = 3,
  /// The service rejected the request for another reason.
  serviceError = 4,
  reserved5 = 5,
  reserved6 = 6,
  reserved7 = 7,
  reserved8 = 8,
  reserved9 = 9,
};

[[nodiscard]] constexpr long rawValue(MapStatus status) {
  return static_cast<long>(status);
}

/// Absent if the number is not a status.
[[nodiscard]] constexpr std::optional<MapStatus> mapStatusFromRawValue(long raw) {
  if (raw < 0 || raw > 9) return std::nullopt;
  return static_cast<MapStatus>(raw);
}

}  // namespace geoloom
