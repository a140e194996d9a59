#include "geoloom/session/types/MapAsset.h"

#include <functional>
#include <utility>

#include "geoloom/base/Text.h"

namespace geoloom {

MapAsset::MapAsset(std::string identifier, platform::SCNVector3 place, float heading)
    : assetID(std::move(identifier)), position(place), orientation(heading) {}

bool MapAsset::isEqual(const platform::NSObject* other) const {
  const auto* asset = dynamic_cast<const MapAsset*>(other);
  return asset != nullptr && position == asset->position && orientation == asset->orientation &&
         base::canonicallyEqual(assetID, asset->assetID);
}

std::size_t MapAsset::hash() const {
  std::size_t hash = base::canonicalHash(assetID);
  // std::hash gives 0.0 and -0.0, which are equal, the same value.
  for (const float number : {position.x, position.y, position.z, orientation}) {
    hash = hash * 31 + std::hash<float>{}(number);
  }
  return hash;
}

}  // namespace geoloom
