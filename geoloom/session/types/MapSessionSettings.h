#pragma once

#include <atomic>

#include "geoloom/Export.h"

namespace geoloom {

/// The kit's version, as sent to the mapping service.
inline constexpr char POD_VERSION[] = "v0.1.10";

/// Settings of all sessions of the process; applications use them through MapSession, as in
/// `MapSession::USE_BETA_ALGO = true`. Set them before a session is created. The kit only reads them.
struct GEOLOOM_EXPORT MapSessionSettings {
  /// Not used by this version: 0.75.
  static std::atomic<float> CONFIDENCE_THRESHOLD;
  /// Not used by this version: 60.
  static std::atomic<long> TIMEOUT_THRESHOLD;
  /// Not used by this version: false.
  static std::atomic<bool> CONTINOUSLY_UPDATED_RELOCALIZATION;
  /// Selects the service's beta: its address when a session is created, its algorithm ("use_beta") when a
  /// localization session is opened. Default: false.
  static std::atomic<bool> USE_BETA_ALGO;
  /// Not used by this version: 2.
  static std::atomic<long> RETRIEVE_ASSETS_INTERVAL;
};

}  // namespace geoloom
