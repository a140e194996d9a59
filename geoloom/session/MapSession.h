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
#include "geoloom/session/types/MapTransform.h"
#include "geoloom/session/types/ViewSize.h"

namespace geoloom {

namespace platform {
class ARFrame;
class ARSCNView;
class ARSession;
class DispatchSemaphore;
class UIView;
}  // namespace platform

/// A visit to a place: opens a session with the mapping service, keeps the application's assets in a shared
/// map and moves them into this session's coordinates, and finds real objects in camera frames.
///
///     const auto configuration = std::make_shared<MapSessionConfiguration>(0.6F, 0.5F);
///     platform::DispatchQueue::main()->sync([&] {
///       session = MapSession::create(arSession, MapMode::localization, "ada", "living room", developerKey,
///                                    ViewSize{.width = 375, .height = 812}, configuration);
///       session->registerCallbacks(onAssets, onStatus, onObjects);
///     });
///     arSession->setDidUpdateFrame([session](const auto& frame) { session->update(frame); });
///
/// Create a session and register its callbacks in one task of the main queue, as above. The answers of the
/// service are handled on that queue, so no status can be lost between the two calls. Code that already runs
/// on the main queue, or on a loop that was handed over (platform::MainQueue), calls both without `sync`,
/// which would deadlock.
///
/// Threads. Operations may be called from any thread and from callbacks; `update` from one thread at a time.
/// They return soon, except that `create` takes up to 200 ms. Callbacks arrive on the queues that
/// `registerCallbacks` names. An exception that leaves a callback is logged and swallowed; the session throws
/// nothing.
///
/// Lifetime. A session cannot be closed: once created it lives, and scans for transforms every second, until
/// the process ends.
///
/// Coordinates are those of the AR session: metres, y up.
class GEOLOOM_EXPORT MapSession : public platform::NSObject, public MapSessionSettings {
 public:
  using AssetsFoundCallback = std::function<void(const std::vector<std::shared_ptr<MapAsset>>&)>;
  using StatusCallback = std::function<void(MapStatus)>;
  using ObjectDetectedCallback = std::function<void(const std::vector<std::shared_ptr<DetectedObject>>&)>;
  using MapsFoundCallback = std::function<void(const std::vector<std::shared_ptr<Map>>&)>;

  /// The arguments of `create`. Only `create` can make one, so that every session is started.
  class Construction;

  /// The reason why the detection model cannot be loaded, for which `create` would end the process; absent if
  /// it can. Loads the model.
  [[nodiscard]] static std::optional<std::string> detectionModelFault();

  /// Creates a session over the application's AR session and starts to open it with the service; the result
  /// arrives as a status. Set MapSessionSettings, ServiceEndpoints and the location provider before. Returns
  /// null, after a line in the system log, if the AR session or the configuration is null. Ends the process
  /// if the detection model cannot be loaded; call detectionModelFault() first.
  ///
  /// `userID` and `mapID` are the application's own identifiers. `developerKey` is not kept; the services
  /// receive its MD5. `view` is the size of the view that shows the camera.
  ///
  /// To override `reportStatus`, derive a class that inherits the constructor (`using
  /// MapSession::MapSession;`) and name it: `MapSession::create<MySession>(...)`.
  template <class Session = MapSession>
  [[nodiscard]] static std::shared_ptr<Session> create(
      std::shared_ptr<platform::ARSession> arSession, MapMode mapMode, std::string userID, std::string mapID,
      std::string developerKey, ViewSize view,
      std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration);

  /// The same with the view's height and width, in this order.
  template <class Session = MapSession>
  [[nodiscard]] static std::shared_ptr<Session> create(
      std::shared_ptr<platform::ARSession> arSession, MapMode mapMode, std::string userID, std::string mapID,
      std::string developerKey, platform::CGFloat screenHeight, platform::CGFloat screenWidth,
      std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration) {
    return create<Session>(std::move(arSession), mapMode, std::move(userID), std::move(mapID),
                           std::move(developerKey), ViewSize{.width = screenWidth, .height = screenHeight},
                           std::move(mapSessionConfiguration));
  }

  explicit MapSession(const Construction& construction);
  ~MapSession() override;

  /// Replaces all three callbacks. Earlier events are not reported again, except that a transform without an
  /// assets callback waits for one.
  ///
  /// `assetsFoundCallback`, on the session's asset queue: all assets of the map, whenever the service has
  /// found a better transform.
  ///
  /// `statusCallback`, on the main queue: the result of opening the session.
  ///
  /// `objectDetectedCallback`, on the detector's queue: the objects found in a frame, if there are any.
  void registerCallbacks(AssetsFoundCallback assetsFoundCallback, StatusCallback statusCallback,
                         ObjectDetectedCallback objectDetectedCallback);

  /// Continues with another AR session and without the service's identifiers. The session is not opened
  /// again; the only status that may still arrive is that of an opening in progress. Does nothing, after a
  /// line in the system log, if the AR session is null.
  void reset(std::shared_ptr<platform::ARSession> arSession);

  /// Offers a camera frame. It is analysed if the camera has moved and no other frame is being analysed,
  /// otherwise dropped. The analysis runs on the detector's queue.
  void update(std::shared_ptr<const platform::ARFrame> frame);

  /// Draws detections: an overlay on `view`, boxes in the scene of `scene`. Call on the application's main
  /// thread.
  void visualizeSceneUnderstanding(const std::shared_ptr<platform::UIView>& view,
                                   const std::shared_ptr<platform::ARSCNView>& scene);

  /// Stores assets in the map. Returns false before `initialized` and always in localization mode. After
  /// true, `callback` runs on the main queue with true if the service stored the assets and false if it
  /// rejected them; it is not called if the service does not answer.
  bool storePlacement(const std::vector<std::shared_ptr<MapAsset>>& assets,
                      std::function<void(bool)> callback);

  /// Requests the maps within half a delta of a location on either side, of one user or of all; degrees.
  /// Returns false in the first moments of a session, before it has started. After true, the callback
  /// receives the maps on the main queue; an empty list if the service does not answer.
  bool listNearbyMaps(const std::optional<std::string>& userID, double longitude, double latitude,
                      double longitudeDelta, double latitudeDelta, MapsFoundCallback mapsFoundCallback);

  [[nodiscard]] MapMode mapSessionMode() const;
  [[nodiscard]] bool isLocalizationMode() const { return mapSessionMode() != MapMode::mapping; }
  /// UUID of the localization session, or in mapping mode of the new map; absent until the service has
  /// assigned it.
  [[nodiscard]] std::optional<std::string> mapSessionUUID() const;
  /// UUID of the map; absent until the service has assigned or found it.
  [[nodiscard]] std::optional<std::string> mappingUUID() const;
  [[nodiscard]] const std::string& mapID() const;
  [[nodiscard]] const std::string& userID() const;
  /// The transform of the assets of the last assets callback; absent before the first one and after `reset`.
  /// It is applied to their positions only; see MapAsset::orientation.
  [[nodiscard]] std::optional<MapTransform> lastTransform() const;

 protected:
  /// Delivers a status on the main queue. Dropped without a registered status callback; a callback that is
  /// replaced before the delivery does not receive it, its replacement does. Returns at once. May be called
  /// from any thread.
  virtual void reportStatus(MapStatus status);

 private:
  struct Parts;

  [[nodiscard]] std::shared_ptr<MapSession> shared();
  void start(const Construction& construction);
  /// The start-up task. Sends the opening request once `constructed` is signalled.
  void open(const std::shared_ptr<platform::ARSession>& arSession, platform::DispatchSemaphore& constructed);
  void handleDetections(const std::vector<std::shared_ptr<DetectedObject>>& objects,
                        float confidenceThreshold);

  std::unique_ptr<Parts> parts_;
};

class GEOLOOM_EXPORT MapSession::Construction {
  friend class MapSession;

  Construction() = default;
  /// Logs missing and doubtful arguments; false if one is missing.
  [[nodiscard]] bool isComplete() const;

  std::shared_ptr<platform::ARSession> arSession;
  MapMode mapMode = MapMode::mapping;
  std::string userID;
  std::string mapID;
  std::string developerKey;
  ViewSize view;
  std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration;
};

template <class Session>
std::shared_ptr<Session> MapSession::create(
    std::shared_ptr<platform::ARSession> arSession, MapMode mapMode, std::string userID, std::string mapID,
    std::string developerKey, ViewSize view,
    std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration) {
  static_assert(std::derived_from<Session, MapSession>);
  Construction construction;
  construction.arSession = std::move(arSession);
  construction.mapMode = mapMode;
  construction.userID = std::move(userID);
  construction.mapID = std::move(mapID);
  construction.developerKey = std::move(developerKey);
  construction.view = view;
  construction.mapSessionConfiguration = std::move(mapSessionConfiguration);
  if (!construction.isComplete()) return nullptr;
  auto session = std::make_shared<Session>(construction);
  static_cast<MapSession&>(*session).start(construction);
  return session;
}

}  // namespace geoloom
