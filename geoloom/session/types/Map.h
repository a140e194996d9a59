#pragma once

#include <string>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom {

/// A map in the mapping service's list of maps near a place.
class GEOLOOM_EXPORT Map : public platform::NSObject {
 public:
  Map(std::string userID, std::string mapID, double latitude, double longitude, double altitude,
      double horizontalAccuracy, double verticalAccuracy);

  /// The user who made the map.
  std::string userID;
  /// The application's identifier of the map, as passed to MapSession::create.
  std::string mapID;
  /// Degrees.
  double latitude;
  double longitude;
  /// Metres.
  double altitude;
  double horizontalAccuracy;
  double verticalAccuracy;
};

}  // namespace geoloom
