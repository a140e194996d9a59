#include "geoloom/cloud/CloudBodies.h"

#include "geoloom/base/ObjectText.h"
#include "geoloom/session/types/MapSessionSettings.h"

namespace geoloom {

namespace {

using base::ObjectText;

ObjectText commonBlock(const CloudDevice& device, const std::string& appID, const std::string& developerKey) {
  ObjectText body;
  body.add("app_id", appID)
      .add("developer_key", developerKey)
      .add("pod_version", POD_VERSION)
      .add("data_version", DATA_VERSION)
      .add("device_version", device.version)
      .add("device_model", device.model);
  return body;
}

void addLocation(ObjectText& body, const CloudLocation& location) {
  if (!location.longitude || !location.latitude || !location.altitude || !location.horizontalAccuracy ||
      !location.verticalAccuracy)
    return;
  body.add("long", *location.longitude)
      .add("lat", *location.latitude)
      .add("alt", *location.altitude)
      .add("horAccuracy", *location.horizontalAccuracy)
      .add("verAccuracy", *location.verticalAccuracy);
}

ObjectText openingBody(const CloudDevice& device, const OpeningRequest& request) {
  ObjectText body = commonBlock(device, request.appID, request.developerKey);
  body.add("user_id", request.userID).add("map_id", request.mapID);
  if (device.uuid) body.add("device_uuid", *device.uuid);
  addLocation(body, request.location);
  return body;
}

std::string placementText(const MapAsset& asset) {
  return ObjectText()
      .add("asset_id", asset.assetID)
      .add("x", asset.position.x)
      .add("y", asset.position.y)
      .add("z", asset.position.z)
      .add("orientation", asset.orientation)
      .text();
}

std::shared_ptr<Map> readMap(const platform::JSON& element) {
  const auto userID = element.string("user_id");
  const auto mapID = element.string("map_id");
  const auto latitude = element.number("latitude");
  const auto longitude = element.number("longitude");
  const auto altitude = element.number("altitude");
  const auto verticalAccuracy = element.number("vertical_accuracy");
  const auto horizontalAccuracy = element.number("horizontal_accuracy");
  if (!userID || !mapID || !latitude || !longitude || !altitude || !verticalAccuracy || !horizontalAccuracy)
    return nullptr;
  return std::make_shared<Map>(*userID, *mapID, *latitude, *longitude, *altitude, *horizontalAccuracy,
                               *verticalAccuracy);
}

}  // namespace

std::string createMapBody(const CloudDevice& device, const OpeningRequest& request) {
  return openingBody(device, request).text();
}

std::string createLocalizationSessionBody(const CloudDevice& device, const OpeningRequest& request,
                                          bool useBeta) {
  ObjectText body = openingBody(device, request);
  if (useBeta) body.addJSON("use_beta", "true");
  return body.text();
}

std::string listNearbyMapsBody(const CloudDevice& device, const NearbyRequest& request) {
  ObjectText body = commonBlock(device, request.appID, request.developerKey);
  body.add("longitude", request.longitude)
      .add("latitude", request.latitude)
      .add("longitude_delta", request.longitudeDelta)
      .add("latitude_delta", request.latitudeDelta);
  if (request.userID) body.add("user_id", *request.userID);
  return body.text();
}

std::string placeAssetsBody(const std::string& mapUUID,
                            const std::vector<std::shared_ptr<MapAsset>>& assets) {
  std::string placements;
  for (const auto& asset : assets) {
    if (!asset) continue;
    placements += placements.empty() ? '[' : ',';
    placements += placementText(*asset);
  }
  placements += placements.empty() ? "[]" : "]";
  return ObjectText().add("map_uuid", mapUUID).addJSON("placements", placements).text();
}

std::string findAssetsBody(const std::string& mapUUID) {
  return ObjectText().add("map_uuid", mapUUID).text();
}

std::string sceneLocalizationBody(const std::string& mappingSessionID,
                                  const std::string& localizationSessionID,
                                  float featureMatchDistanceMeters) {
  return ObjectText()
      .add("mapping_session_id", mappingSessionID)
      .add("localization_session_id", localizationSessionID)
      .add("feature_match_distance_meters", featureMatchDistanceMeters)
      .text();
}

std::vector<std::shared_ptr<Map>> readMaps(const platform::JSON& answer) {
  std::vector<std::shared_ptr<Map>> maps;
  answer.forEach([&maps](const platform::JSON& element) {
    if (auto map = readMap(element)) maps.push_back(std::move(map));
  });
  return maps;
}

}  // namespace geoloom
