#include "geoloom/cloud/CloudAPI.h"

#include <utility>

#include "geoloom/base/Text.h"
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

constexpr std::chrono::seconds DEFAULT_TIMEOUT{60};

/// For the create requests: a failed request gives an empty array.
auto withEmptyArray(JSONCallback callback) {
  return [callback = std::move(callback)](const std::optional<JSON>& answer) {
    callback(answer.value_or(JSON::emptyArray()));
  };
}

/// For the asset requests: a failed request does not call back.
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

void CloudAPI::createMap(const OpeningRequest& request, JSONCallback callback) {
  send(address + CREATE_MAP_PATH, createMapBody(device(), request), DEFAULT_TIMEOUT,
       withEmptyArray(std::move(callback)));
}

void CloudAPI::createLocalizationSession(const OpeningRequest& request, JSONCallback callback) {
  send(address + CREATE_LOCALIZATION_SESSION_PATH,
       createLocalizationSessionBody(device(), request, MapSessionSettings::USE_BETA_ALGO), DEFAULT_TIMEOUT,
       withEmptyArray(std::move(callback)));
}

void CloudAPI::placeAssetsOnMap(const std::string& mapUUID,
                                const std::vector<std::shared_ptr<MapAsset>>& assets, JSONCallback callback) {
  for (const auto& asset : assets)
    if (asset) printPlacing(*asset);
  send(address + PLACE_ASSET_ON_MAP_PATH, placeAssetsBody(mapUUID, assets), DEFAULT_TIMEOUT,
       ifAnswered(std::move(callback)));
}

void CloudAPI::findAssetsOnTheMap(const std::string& mapUUID, JSONCallback callback) {
  send(address + FIND_ASSETS_ON_THE_MAP_PATH, findAssetsBody(mapUUID), DEFAULT_TIMEOUT,
       ifAnswered(std::move(callback)));
}

void CloudAPI::listNearbyMaps(const NearbyRequest& request,
                              std::function<void(const std::vector<std::shared_ptr<Map>>&)> callback) {
  send(address + LIST_NEARBY_MAPS_PATH, listNearbyMapsBody(device(), request), DEFAULT_TIMEOUT,
       [callback = std::move(callback)](const std::optional<JSON>& answer) {
         callback(readMaps(answer.value_or(JSON::emptyArray())));
       });
}

void CloudAPI::requestSceneLocalization(const std::string& mappingSessionID,
                                        const std::string& localizationSessionID,
                                        float featureMatchDistanceMeters, JSONCallback answered) {
  send(sceneUnderstandingAddress_,
       sceneLocalizationBody(mappingSessionID, localizationSessionID, featureMatchDistanceMeters),
       SCENE_LOCALIZATION_TIMEOUT, [answered = std::move(answered)](const std::optional<JSON>& answer) {
         if (!answer) return;
         Console::print("result");
         if (answered) answered(*answer);
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
