#pragma once

#include <optional>
#include <string>

namespace geoloom {

/// A request for the maps around a place, in degrees; of one user if a user is given, else of all.
struct NearbyRequest {
  std::string appID;
  std::optional<std::string> userID;
  double longitude = 0;
  double latitude = 0;
  double longitudeDelta = 0;
  double latitudeDelta = 0;
  /// MD5 of the developer key.
  std::string developerKey;
};

}  // namespace geoloom
