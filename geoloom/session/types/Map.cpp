#include "geoloom/session/types/Map.h"

#include <utility>

namespace geoloom {

Map::Map(std::string ownerUserID, std::string applicationMapID, double latitudeDegrees,
         double longitudeDegrees, double altitudeMeters, double horizontalAccuracyMeters,
         double verticalAccuracyMeters)
    : userID(std::move(ownerUserID)),
      mapID(std::move(applicationMapID)),
      latitude(latitudeDegrees),
      longitude(longitudeDegrees),
      altitude(altitudeMeters),
      horizontalAccuracy(horizontalAccuracyMeters),
      verticalAccuracy(verticalAccuracyMeters) {}

}  // namespace geoloom
