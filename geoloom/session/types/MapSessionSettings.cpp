#include "geoloom/session/types/MapSessionSettings.h"

namespace geoloom {

// Constant-initialised, so that constructors of an application's globals may set them.
constinit std::atomic<float> MapSessionSettings::CONFIDENCE_THRESHOLD{0.75F};
constinit std::atomic<long> MapSessionSettings::TIMEOUT_THRESHOLD{60};
constinit std::atomic<bool> MapSessionSettings::CONTINOUSLY_UPDATED_RELOCALIZATION{false};
constinit std::atomic<bool> MapSessionSettings::USE_BETA_ALGO{false};
constinit std::atomic<long> MapSessionSettings::RETRIEVE_ASSETS_INTERVAL{2};

}  // namespace geoloom
