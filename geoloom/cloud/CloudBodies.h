#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/session/types/Map.h"
#include "geoloom/session/types/MapAsset.h"

/// The mapping service's wire formats as pure functions. Texts in a body are mended with U+FFFD where they
/// are not UTF-8, numbers are the shortest text that reads back to the same value (of 32 bits where the field
/// is a Float), and a number that is not finite is null, since JSON has no word for it.
namespace geoloom {

/// Version of the data that the kit sends.
inline constexpr char DATA_VERSION[] = "0.3";

inline constexpr char CREATE_MAP_PATH[] = "/create_map";
inline constexpr char CREATE_LOCALIZATION_SESSION_PATH[] = "/create_localization_session";
inline constexpr char PLACE_ASSET_ON_MAP_PATH[] = "/place_asset_on_map";
inline constexpr char FIND_ASSETS_ON_THE_MAP_PATH[] = "/find_assets_on_the_map";
inline constexpr char LIST_NEARBY_MAPS_PATH[] = "/list_nearby_maps";

/// The device that a request comes from.
struct CloudDevice {
  std::string version;
  std::string model;
  std::optional<std::string> uuid;
};

/// Where the device is: degrees and metres. It is sent whole or not at all.
struct CloudLocation {
  std::optional<double> longitude;
  std::optional<double> latitude;
  std::optional<double> altitude;
  std::optional<double> horizontalAccuracy;
  std::optional<double> verticalAccuracy;
};

/// What opens a session.
struct OpeningRequest {
  std::string appID;
  std::string userID;
  std::string mapID;
  std::string developerKey;
  CloudLocation location;
};

/// What the maps near a place are asked for with; degrees.
struct NearbyRequest {
  std::string appID;
  std::optional<std::string> userID;
  double longitude = 0;
  double latitude = 0;
  double longitudeDelta = 0;
  double latitudeDelta = 0;
  std::string developerKey;
};

[[nodiscard]] std::string createMapBody(const CloudDevice& device, const OpeningRequest& request);
/// `useBeta` false leaves its key out.
[[nodiscard]] std::string createLocalizationSessionBody(const CloudDevice& device,
                                                        const OpeningRequest& request, bool useBeta);
[[nodiscard]] std::string listNearbyMapsBody(const CloudDevice& device, const NearbyRequest& request);
[[nodiscard]] std::string placeAssetsBody(const std::string& mapUUID,
                                          const std::vector<std::shared_ptr<MapAsset>>& assets);
[[nodiscard]] std::string findAssetsBody(const std::string& mapUUID);
[[nodiscard]] std::string sceneLocalizationBody(const std::string& mappingSessionID,
                                                const std::string& localizationSessionID,
                                                float featureMatchDistanceMeters);

/// The maps of an answer, in its order. Elements that lack a field, or hold one of another type, are dropped.
[[nodiscard]] std::vector<std::shared_ptr<Map>> readMaps(const platform::JSON& answer);

}  // namespace geoloom
