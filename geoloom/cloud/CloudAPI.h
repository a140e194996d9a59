#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geoloom/cloud/CloudBodies.h"
#include "geoloom/cloud/NearbyRequest.h"
#include "geoloom/cloud/OpeningRequest.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/session/types/Map.h"
#include "geoloom/session/types/MapAsset.h"

namespace geoloom {

/// Receives one parsed JSON value.
using JSONCallback = std::function<void(const platform::JSON&)>;

/// The client of the mapping service; it also sends usage metrics. Operations may be called from any thread
/// and return at once. Each request is sent once, over its own connection. Callbacks run on the main queue;
/// the HTTP status is ignored. A request fails if the transfer fails, its deadline (60 s) passes or the body
/// is not JSON. Held by std::shared_ptr: a request in flight keeps the client and the callback alive.
class CloudAPI : public platform::NSObject {
 public:
  /// Key of the metrics client that sendMetric uses.
  static constexpr char METRICS_CLIENT_KEY[] = "GeoloomLib";
  /// Deadline of requestSceneLocalization.
  static constexpr std::chrono::seconds SCENE_LOCALIZATION_TIMEOUT{620};

  /// Reads the device's identity and the current service endpoints. `useBeta` selects `address`.
  explicit CloudAPI(bool useBeta);

  /// Base address of the mapping service.
  const std::string address;
  /// Not used by this version.
  const bool printApiCalls = false;
  /// Version of the device's operating system.
  const std::string deviceVersion;
  /// Name of the device's model.
  const std::string deviceModel;
  /// Identifier of the device for this vendor, if it has one.
  const std::optional<std::string> deviceUUID;

  /// Creates a map. The callback is called exactly once, with an empty array if the request fails.
  void createMap(const OpeningRequest& request, JSONCallback callback);

  /// Opens a localization session against a map. Otherwise like createMap; sends "use_beta" if
  /// MapSession::USE_BETA_ALGO is true at the time of the call.
  void createLocalizationSession(const OpeningRequest& request, JSONCallback callback);

  /// Stores assets in a map; null entries are left out. The callback is not called if the request fails.
  void placeAssetsOnMap(const std::string& mapUUID, const std::vector<std::shared_ptr<MapAsset>>& assets,
                        JSONCallback callback);

  /// Fetches the assets of a map. The callback is not called if the request fails.
  void findAssetsOnTheMap(const std::string& mapUUID, JSONCallback callback);

  /// Lists the maps around a place. The callback is called exactly once, with an empty list if the request
  /// fails.
  void listNearbyMaps(const NearbyRequest& request,
                      std::function<void(const std::vector<std::shared_ptr<Map>>&)> callback);

  /// Requests a localization by objects. When the answer arrives, prints the console line "result" and calls
  /// `answered`; neither if the request fails.
  void requestSceneLocalization(const std::string& mappingSessionID, const std::string& localizationSessionID,
                                float featureMatchDistanceMeters, JSONCallback answered = {});

  /// Sends one usage event and returns at once. Does nothing if no metrics client is registered.
  void sendMetric(const std::string& eventName, const std::string& developerKey) const;

 private:
  void send(std::string url, std::string body, std::chrono::milliseconds deadline,
            std::function<void(const std::optional<platform::JSON>&)> answer);

  [[nodiscard]] CloudDevice device() const { return {deviceVersion, deviceModel, deviceUUID}; }

  /// Address of requestSceneLocalization; does not depend on beta.
  const std::string sceneUnderstandingAddress_;
};

}  // namespace geoloom
