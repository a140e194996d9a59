#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geoloom/cloud/NearbyRequest.h"
#include "geoloom/cloud/OpeningRequest.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/session/types/Map.h"
#include "geoloom/session/types/MapAsset.h"

/// The mapping service's wire formats as pure functions. Invalid UTF-8 in a text becomes U+FFFD. A number is
/// the shortest text that reads back to the same value (32 bits for a Float field); a number that is not
/// finite becomes null.
namespace geoloom {

/// Version of the data that the kit sends.
inline constexpr char DATA_VERSION[] = "0.3";

inline constexpr char CREATE_MAP_PATH[] = "/create_map";
inline constexpr char CREATE_LOCALIZATION_SESSION_PATH[] = "/create_localization_session";
inline constexpr char PLACE_ASSET_ON_MAP_PATH[] = "/place_asset_on_map";
inline constexpr char FIND_ASSETS_ON_THE_MAP_PATH[] = "/find_assets_on_the_map";
inline constexpr char LIST_NEARBY_MAPS_PATH[] = "/list_nearby_maps";

/// The device that sends a request.
struct CloudDevice {
  std::string version;
  std::string model;
  std::optional<std::string> uuid;
};

[[nodiscard]] std::string createMapBody(const CloudDevice& device, const OpeningRequest& request);
/// The key "use_beta" is present only if `useBeta` is true.
[[nodiscard]] std::string createLocalizationSessionBody(const CloudDevice& device,
                                                        const OpeningRequest& request, bool useBeta);
[[nodiscard]] std::string listNearbyMapsBody(const CloudDevice& device, const NearbyRequest& request);
[[nodiscard]] std::string placeAssetsBody(const std::string& mapUUID,
                                          const std::vector<std::shared_ptr<MapAsset>>& assets);
[[nodiscard]] std::string findAssetsBody(const std::string& mapUUID);
[[nodiscard]] std::string sceneLocalizationBody(const std::string& mappingSessionID,
                                                const std::string& localizationSessionID,
                                                float featureMatchDistanceMeters);

/// The maps of an answer, in its order. Elements with a missing or mistyped field are dropped.
[[nodiscard]] std::vector<std::shared_ptr<Map>> readMaps(const platform::JSON& answer);

}  // namespace geoloom
