#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/session/types/DetectedObject.h"
#include "geoloom/session/types/Map.h"
#include "geoloom/session/types/MapAsset.h"
#include "geoloom/session/types/MapMode.h"
#include "geoloom/session/types/MapSessionConfiguration.h"
#include "geoloom/session/types/MapSessionSettings.h"
#include "geoloom/session/types/MapStatus.h"

namespace geoloom {

class DataManager;

namespace platform {
class ARFrame;
class ARSCNView;
class ARSession;
class UIView;
}  // namespace platform

/// A place shared with other people: opens a session with the mapping service, keeps the application's assets
/// in a map and brings them back into this session's coordinates, and finds real objects in camera frames.
///
///     const auto configuration = std::make_shared<MapSessionConfiguration>(0.6F, 0.5F);
///     platform::DispatchQueue::main()->sync([&] {
///       session = MapSession::create(arSession, MapMode::localization, "ada", "living room", developerKey,
///                                    viewHeight, viewWidth, configuration);
///       session->registerCallbacks(onAssets, onStatus, onObjects);
///     });
///     arSession->setDidUpdateFrame([session](const auto& frame) { session->update(frame); });
///
/// Create a session and register its callbacks in one task of the main queue. The service's answers are
/// handled there too, so none can be handled, and its status lost for want of a callback, in between. Code
/// that runs on the main queue already, or on a loop that was handed over (platform::MainQueue), does both
/// without `sync`.
///
/// Threads. Operations return at once and may be called from any thread, `update` by one thread at a time.
/// Callbacks arrive on the threads that `registerCallbacks` names. An exception that leaves a callback is
/// logged and goes no further; nothing is thrown to the application.
///
/// Lifetime. There is no way to close a session: once created it lives, and asks for transforms every second,
/// until the process ends.
///
/// Coordinates are those of the AR session: metres, y up. Screen sizes are in points.
class GEOLOOM_EXPORT MapSession : public platform::NSObject, public MapSessionSettings {
 public:
  using AssetsFoundCallback = std::function<void(const std::vector<std::shared_ptr<MapAsset>>&)>;
  using StatusCallback = std::function<void(MapStatus)>;
  using ObjectDetectedCallback = std::function<void(const std::vector<std::shared_ptr<DetectedObject>>&)>;
  using MapsFoundCallback = std::function<void(const std::vector<std::shared_ptr<Map>>&)>;

  /// What a session is made from. Only `create` makes one, so a session is always started.
  class Construction;

  /// Starts a session over the application's AR session and begins to open it with the service; how that went
  /// arrives as a status. Settings (MapSessionSettings), endpoints (ServiceEndpoints) and the source of the
  /// device's location are to be set before. The process stops when the detection model is missing or cannot
  /// be loaded. Answers nullptr, after a line in the system log, when the AR session or the configuration is
  /// absent.
  ///
  /// `userID` and `mapID` are the application's own identifiers. `developerKey` is not kept; the services are
  /// told its MD5. `screenHeight` and `screenWidth` are those of the view that shows the camera, in points.
  ///
  /// To override `reportStatus`, derive a class that inherits the constructor (`using
  /// MapSession::MapSession;`) and name it: `MapSession::create<MySession>(...)`.
  template <class Session = MapSession>
  [[nodiscard]] static std::shared_ptr<Session> create(
      std::shared_ptr<platform::ARSession> arSession, MapMode mapMode, std::string userID, std::string mapID,
      std::string developerKey, platform::CGFloat screenHeight, platform::CGFloat screenWidth,
      std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration);

  explicit MapSession(const Construction& construction);
  ~MapSession() override;

  /// Replaces all three callbacks. What happened before is not reported again, but for a transform, which
  /// waits for an assets callback.
  ///
  /// `assetsFoundCallback`, on the session's asset queue: all assets of the map, whenever the service knows
  /// better where this session stands in it.
  ///
  /// `statusCallback`, on the main queue: how the opening of the session went.
  ///
  /// `objectDetectedCallback`, on the detector's queue: what was found in a frame, unless that is nothing.
  void registerCallbacks(AssetsFoundCallback assetsFoundCallback, StatusCallback statusCallback,
                         ObjectDetectedCallback objectDetectedCallback);

  /// Goes on with another AR session and forgets the service's identifiers. The session is not opened again:
  /// no status is reported, but for that of an opening which is still under way. Without an AR session it
  /// changes nothing, after a line in the system log.
  void reset(std::shared_ptr<platform::ARSession> arSession);

  /// Offers a camera frame. It is analysed when the camera has moved and no other frame is being analysed,
  /// else dropped.
  void update(std::shared_ptr<const platform::ARFrame> frame);

  /// Draws what the detector finds: an overlay on `view`, boxes in the scene of `scene`. Call on the main
  /// thread.
  void visualizeSceneUnderstanding(const std::shared_ptr<platform::UIView>& view,
                                   const std::shared_ptr<platform::ARSCNView>& scene);

  /// Stores assets in the map. False when the session cannot take any: before `initialized`, and in
  /// localization mode. After true, `callback` tells whether the service took them, on the main queue; it is
  /// not called when the service does not answer.
  bool storePlacement(const std::vector<std::shared_ptr<MapAsset>>& assets,
                      std::function<void(bool)> callback);

  /// Asks for the maps within half a delta of a location on either side, of one user or of all; degrees.
  /// False when it is too early, in the first moments of a session. After true, the callback receives the
  /// maps on the main queue; none when the service does not answer.
  bool listNearbyMaps(const std::optional<std::string>& userID, double longitude, double latitude,
                      double longitudeDelta, double latitudeDelta, MapsFoundCallback mapsFoundCallback);

  [[nodiscard]] MapMode mapSessionMode() const;
  [[nodiscard]] bool isLocalizationMode() const { return mapSessionMode() != MapMode::mapping; }
  /// UUID of the localization session, or of the map that is being made; absent until the service has named
  /// it.
  [[nodiscard]] std::optional<std::string> mapSessionUUID() const;
  /// UUID of the map that is being made or localized against; absent until the service has named it.
  [[nodiscard]] std::optional<std::string> mappingUUID() const;
  [[nodiscard]] const std::string& mapID() const;
  [[nodiscard]] const std::string& userID() const;
  /// The main bundle's identifier.
  [[nodiscard]] const std::string& appID() const;
  /// MD5 of the developer key, 32 lower-case hexadecimal digits.
  [[nodiscard]] const std::string& developerKeyHash() const;

 protected:
  /// Passes a status on to the callback that is registered when it is delivered, if one is registered now.
  /// Returns at once; called on any thread.
  virtual void reportStatus(MapStatus status);

 private:
  friend struct MapSessionInternals;
  struct State;

  void start(const Construction& construction);
  void open(const std::shared_ptr<platform::ARSession>& arSession);
  void handleDetections(const std::vector<std::shared_ptr<DetectedObject>>& objects,
                        float confidenceThreshold);
  void scheduleTick();
  void tick();
  void takeTransform(const std::shared_ptr<DataManager>& dataManager, const std::string& found);
  void localizeByObjects();
  void requestSceneLocalization(const DataManager& dataManager);

  const std::unique_ptr<State> state_;
};

class GEOLOOM_EXPORT MapSession::Construction {
  friend class MapSession;

  Construction() = default;
  /// False, after a line in the system log, when something is missing.
  [[nodiscard]] bool isComplete() const;

  std::shared_ptr<platform::ARSession> arSession;
  MapMode mapMode = MapMode::mapping;
  std::string userID;
  std::string mapID;
  std::string developerKey;
  platform::CGFloat screenHeight = 0;
  platform::CGFloat screenWidth = 0;
  std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration;
};

template <class Session>
std::shared_ptr<Session> MapSession::create(
    std::shared_ptr<platform::ARSession> arSession, MapMode mapMode, std::string userID, std::string mapID,
    std::string developerKey, platform::CGFloat screenHeight, platform::CGFloat screenWidth,
    std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration) {
  static_assert(std::derived_from<Session, MapSession>);
  Construction construction;
  construction.arSession = std::move(arSession);
  construction.mapMode = mapMode;
  construction.userID = std::move(userID);
  construction.mapID = std::move(mapID);
  construction.developerKey = std::move(developerKey);
  construction.screenHeight = screenHeight;
  construction.screenWidth = screenWidth;
  construction.mapSessionConfiguration = std::move(mapSessionConfiguration);
  if (!construction.isComplete()) return nullptr;
  auto session = std::make_shared<Session>(construction);
  static_cast<MapSession&>(*session).start(construction);
  return session;
}

}  // namespace geoloom
