#pragma once

#include <optional>

namespace geoloom {

/// How the opening of a session went. Reported to the status callback on the main queue, at most once a
/// session. Reserved values are members without a meaning: nothing reports them, and an application takes one
/// as unknown.
enum class MapStatus : long {
  /// The service knows the session and has named its identifiers; placements are accepted from now on
  /// (mapping).
  initialized = 0,
  /// Localization: the service knows no map of that identifier.
  mapNotFound = 1,
  /// The service could not be reached, or its answer was not understood.
  connectionFailed = 2,
  reserved3 = 3,
  /// The service refused, for another reason than a missing map.
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

/// Nothing for a number that is no status.
[[nodiscard]] constexpr std::optional<MapStatus> mapStatusFromRawValue(long raw) {
  if (raw < 0 || raw > 9) return std::nullopt;
  return static_cast<MapStatus>(raw);
}

}  // namespace geoloom
