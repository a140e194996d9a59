#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/session/types/Map.h"
#include "geoloom/session/types/MapAsset.h"

namespace geoloom {

/// Receives one parsed JSON value.
using JSONCallback = std::function<void(const platform::JSON&)>;

/// The kit's client of the mapping service, and its sender of usage metrics. Operations may be called from
/// any thread; they hand a request over and return. Each request is sent once, over a connection of its own.
/// Its answer, whatever the HTTP status, reaches the callback on the main queue; "no answer" below means that
/// the transfer failed, the deadline of 60 s passed, or the body was not JSON. Held by std::shared_ptr: a
/// request on its way keeps the client and the callback alive.
class GEOLOOM_EXPORT CloudAPI : public platform::NSObject {
 public:
  /// The metrics client that sendMetric looks up.
  static constexpr char METRICS_CLIENT_KEY[] = "GeoloomLib";
  /// Deadline of requestSceneLocalization.
  static constexpr std::chrono::seconds SCENE_LOCALIZATION_TIMEOUT{620};

  /// Reads the device and the current service endpoints. `useBeta` chooses the mapping service's address for
  /// good.
  explicit CloudAPI(bool useBeta);

  /// Base address of the mapping service.
  const std::string address;
  /// Not consulted by this version.
  const bool printApiCalls = false;
  /// Version of the device's operating system.
  const std::string deviceVersion;
  /// Name of the device's model.
  const std::string deviceModel;
  /// Identifier of the device for this vendor, if it has one.
  const std::optional<std::string> deviceUUID;

  /// Asks for a new map. Location in degrees and metres; unless all five values are present none is sent. The
  /// callback is called exactly once; no answer is an empty array.
  void createMap(const std::string& appID, const std::string& userID, const std::string& mapID,
                 const std::string& developerKey, std::optional<double> longitude,
                 std::optional<double> latitude, std::optional<double> altitude,
                 std::optional<double> horizontalAccuracy, std::optional<double> verticalAccuracy,
                 JSONCallback callback);

  /// Opens a localization session against a map; as createMap, and tells the service whether
  /// MapSession::USE_BETA_ALGO is on at the time of the call.
  void createLocalizationSession(const std::string& appID, const std::string& userID,
                                 const std::string& mapID, const std::string& developerKey,
                                 std::optional<double> longitude, std::optional<double> latitude,
                                 std::optional<double> altitude, std::optional<double> horizontalAccuracy,
                                 std::optional<double> verticalAccuracy, JSONCallback callback);

  /// Stores assets in a map; absent ones (nullptr) are left out. No answer calls nothing.
  void placeAssetsOnMap(const std::string& mapUUID, const std::vector<std::shared_ptr<MapAsset>>& assets,
                        JSONCallback callback);

  /// Fetches the assets of a map. No answer calls nothing.
  void findAssetsOnTheMap(const std::string& mapUUID, JSONCallback callback);

  /// Lists the maps around a place, in degrees; of one user where a user is given. The callback is called
  /// exactly once; no answer is an empty list.
  void listNearbyMaps(const std::string& appID, const std::optional<std::string>& userID, double longitude,
                      double latitude, double longitudeDelta, double latitudeDelta,
                      const std::string& developerKey,
                      std::function<void(const std::vector<std::shared_ptr<Map>>&)> callback);

  /// Starts the localization by objects. An answer writes the console line "result"; nobody is called.
  void requestSceneLocalization(const std::string& mappingSessionID, const std::string& localizationSessionID,
                                float featureMatchDistanceMeters);

  /// Counts one event of the developer. Never fails, never waits; without a metrics client it does nothing.
  void sendMetric(const std::string& eventName, const std::string& developerKey) const;

 private:
  void send(std::string url, std::string body, std::chrono::milliseconds deadline,
            std::function<void(const std::optional<platform::JSON>&)> answer);

  /// The address of requestSceneLocalization; the same with and without beta.
  const std::string sceneUnderstandingAddress_;
};

}  // namespace geoloom
