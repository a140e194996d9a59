#pragma once

#include <memory>

#include "geoloom/session/types/MapAsset.h"

#include "objc/bridge/Values.h"

namespace geoloom::bridge {

/// The kit's own object for these values.
[[nodiscard]] std::shared_ptr<MapAsset> asset(const GeoloomMapAsset& values);

}  // namespace geoloom::bridge
