#include "geoloom/cloud/CloudAPI.h"

#include <utility>

#include "geoloom/base/Text.h"
#include "geoloom/cloud/CloudBodies.h"
#include "geoloom/cloud/DeviceModel.h"
#include "geoloom/platform/aws/AWSCloudWatch.h"
#include "geoloom/platform/device/UIDevice.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/network/HTTPClient.h"
#include "geoloom/session/types/MapSessionSettings.h"
#include "geoloom/session/types/ServiceEndpoints.h"

namespace geoloom {

namespace {

using platform::Console;
using platform::JSON;

constexpr std::chrono::seconds defaultTimeout{60};

/// A caller that is told whatever happens: no answer is an empty array.
auto withEmptyArray(JSONCallback callback) {
  return [callback = std::move(callback)](const std::optional<JSON>& answer) {
    callback(answer.value_or(JSON::emptyArray()));
  };
}

/// A caller that hears of answers only.
auto ifAnswered(JSONCallback callback) {
  return [callback = std::move(callback)](const std::optional<JSON>& answer) {
    if (answer) callback(*answer);
  };
}

void printPlacing(const MapAsset& asset) {
  Console::print("Placing asset: " + asset.assetID + ", " + base::text(asset.position.x) + ", " +
                 base::text(asset.position.y) + ", " + base::text(asset.position.z));
}

}  // namespace

CloudAPI::CloudAPI(bool useBeta)
    : address(useBeta ? ServiceEndpoints::current().beta : ServiceEndpoints::current().production),
      deviceVersion(platform::UIDevice::current().systemVersion()),
      deviceModel(modelName(platform::UIDevice::current().modelIdentifier())),
      deviceUUID(platform::UIDevice::current().identifierForVendor()),
      sceneUnderstandingAddress_(ServiceEndpoints::current().sceneUnderstanding) {}

void CloudAPI::send(std::string url, std::string body, std::chrono::milliseconds deadline,
                    std::function<void(const std::optional<JSON>&)> answer) {
  platform::HTTPRequest request;
  request.url = std::move(url);
  request.body = std::move(body);
  request.deadline = deadline;
  request.ownConnection = true;
  platform::HTTPClient::shared().postJSON(std::move(request), platform::DispatchQueue::main(),
                                          [self = shared_from_this(), answer = std::move(answer)](
                                              const std::optional<JSON>& value) { answer(value); });
}

void CloudAPI::createMap(const std::string& appID, const std::string& userID, const std::string& mapID,
                         const std::string& developerKey, std::optional<double> longitude,
                         std::optional<double> latitude, std::optional<double> altitude,
                         std::optional<double> horizontalAccuracy, std::optional<double> verticalAccuracy,
                         JSONCallback callback) {
  const OpeningRequest request{appID,
                               userID,
                               mapID,
                               developerKey,
                               {longitude, latitude, altitude, horizontalAccuracy, verticalAccuracy}};
  send(address + CREATE_MAP_PATH, createMapBody({deviceVersion, deviceModel, deviceUUID}, request),
       defaultTimeout, withEmptyArray(std::move(callback)));
}

void CloudAPI::createLocalizationSession(const std::string& appID, const std::string& userID,
                                         const std::string& mapID, const std::string& developerKey,
                                         std::optional<double> longitude, std::optional<double> latitude,
                                         std::optional<double> altitude,
                                         std::optional<double> horizontalAccuracy,
                                         std::optional<double> verticalAccuracy, JSONCallback callback) {
  const OpeningRequest request{appID,
                               userID,
                               mapID,
                               developerKey,
                               {longitude, latitude, altitude, horizontalAccuracy, verticalAccuracy}};
  send(address + CREATE_LOCALIZATION_SESSION_PATH,
       createLocalizationSessionBody({deviceVersion, deviceModel, deviceUUID}, request,
                                     MapSessionSettings::USE_BETA_ALGO),
       defaultTimeout, withEmptyArray(std::move(callback)));
}

void CloudAPI::placeAssetsOnMap(const std::string& mapUUID,
                                const std::vector<std::shared_ptr<MapAsset>>& assets, JSONCallback callback) {
  for (const auto& asset : assets)
    if (asset) printPlacing(*asset);
  send(address + PLACE_ASSET_ON_MAP_PATH, placeAssetsBody(mapUUID, assets), defaultTimeout,
       ifAnswered(std::move(callback)));
}

void CloudAPI::findAssetsOnTheMap(const std::string& mapUUID, JSONCallback callback) {
  send(address + FIND_ASSETS_ON_THE_MAP_PATH, findAssetsBody(mapUUID), defaultTimeout,
       ifAnswered(std::move(callback)));
}

void CloudAPI::listNearbyMaps(const std::string& appID, const std::optional<std::string>& userID,
                              double longitude, double latitude, double longitudeDelta, double latitudeDelta,
                              const std::string& developerKey,
                              std::function<void(const std::vector<std::shared_ptr<Map>>&)> callback) {
  const NearbyRequest request{appID,          userID,        longitude,   latitude,
                              longitudeDelta, latitudeDelta, developerKey};
  send(address + LIST_NEARBY_MAPS_PATH, listNearbyMapsBody({deviceVersion, deviceModel, deviceUUID}, request),
       defaultTimeout, [callback = std::move(callback)](const std::optional<JSON>& answer) {
         callback(readMaps(answer.value_or(JSON::emptyArray())));
       });
}

void CloudAPI::requestSceneLocalization(const std::string& mappingSessionID,
                                        const std::string& localizationSessionID,
                                        float featureMatchDistanceMeters) {
  send(sceneUnderstandingAddress_,
       sceneLocalizationBody(mappingSessionID, localizationSessionID, featureMatchDistanceMeters),
       SCENE_LOCALIZATION_TIMEOUT, [](const std::optional<JSON>& answer) {
         if (answer) Console::print("result");
       });
}

void CloudAPI::sendMetric(const std::string& eventName, const std::string& developerKey) const {
  const auto client = platform::AWSCloudWatch::CloudWatch(METRICS_CLIENT_KEY);
  if (!client) return;
  client->putMetricData({.namespace_ = "YeltMaps",
                         .metricData = {{.metricName = eventName,
                                         .dimensions = {{.name = "devKey", .value = developerKey}},
                                         .value = 1,
                                         .unit = platform::AWSCloudWatchStandardUnitCount}}});
}

}  // namespace geoloom
