#pragma once

#include <optional>
#include <string>

namespace geoloom {

/// The device's location: degrees and metres. It is sent only if all five values are present.
struct CloudLocation {
  std::optional<double> longitude;
  std::optional<double> latitude;
  std::optional<double> altitude;
  std::optional<double> horizontalAccuracy;
  std::optional<double> verticalAccuracy;
};

/// The content of a request to create a map or to open a localization session.
struct OpeningRequest {
  std::string appID;
  std::string userID;
  std::string mapID;
  /// MD5 of the developer key.
  std::string developerKey;
  CloudLocation location;
};

}  // namespace geoloom
