#include "geoloom/session/MapSession.h"

#include <cstdint>
#include <utility>

#include "geoloom/SceneUnderstanding/SSDObjectDetector.h"
#include "geoloom/base/AtomicValue.h"
#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSCNView.h"
#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/aws/DeveloperKey.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/ApplicationCallback.h"
#include "geoloom/session/CloudProvider.h"
#include "geoloom/session/DetectionRows.h"
#include "geoloom/session/Relocalization.h"
#include "geoloom/session/RelocalizationLoop.h"
#include "geoloom/session/SessionObserver.h"
#include "geoloom/storage/DataManager.h"

namespace geoloom {
namespace {

using platform::Console;
using platform::DispatchQoS;
using platform::DispatchQueue;
using platform::JSON;
using platform::SystemLog;

void logNotInitialized(MapMode mode) {
  SystemLog::log(
      "MapSession has not yet been fully initialized. Wait for statusCallback with .initialized before "
      "storing any assets. (mode - " +
      std::to_string(rawValue(mode)) + ")");
}

}  // namespace

struct MapSession::Parts {
  struct Callbacks {
    AssetsFoundCallback assetsFoundCallbackByCustomer;
    StatusCallback statusCallbackByCustomer;
    ObjectDetectedCallback objectDetectedCallback;
  };

  explicit Parts(const Construction& construction)
      : arSession(construction.arSession),
        geoloomMode(construction.mapMode),
        identity{.appID = platform::Bundle::mainBundleIdentifier(),
                 .userID = construction.userID,
                 .mapID = construction.mapID,
                 .developerKey = platform::DeveloperKey::hash(construction.developerKey),
                 .location = {}},
        cloudApi(std::make_shared<CloudAPI>(USE_BETA_ALGO)),
        mapSessionConfiguration(construction.mapSessionConfiguration) {}

  base::AtomicValue<std::shared_ptr<platform::ARSession>> arSession;
  const MapMode geoloomMode;
  const OpeningRequest identity;
  const std::shared_ptr<CloudAPI> cloudApi;
  /// Written by the start-up task and by `reset`.
  base::AtomicValue<std::shared_ptr<DataManager>> dataManager;
  /// Written by `registerCallbacks`; never null.
  base::AtomicValue<std::shared_ptr<const Callbacks>> callbacks{std::make_shared<const Callbacks>()};
  /// The map's position in this session. This version never sets it, so a localization session stores no
  /// placements.
  const std::optional<std::vector<float>> resolvedTranslation;
  const std::optional<float> resolvedConfidence;
  /// Absent until construction has made it; a derived class may already use the session.
  base::AtomicValue<std::shared_ptr<SSDObjectDetector>> objectDetector;
  const std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration;
  /// Number of batches with detections. Used on the detector's queue only.
  std::int64_t frameCounter = 0;
  const std::shared_ptr<SessionObserver> observer = SessionObserver::installed();
};

std::optional<std::string> MapSession::detectionModelFault() {
  return SSDObjectDetector::modelFault();
}

bool MapSession::Construction::isComplete() const {
  if (!arSession) SystemLog::log("MapSession not created: no AR session was given");
  if (!mapSessionConfiguration) SystemLog::log("MapSession not created: no configuration was given");
  if (view.width > view.height)
    SystemLog::log("MapSession: the view is wider than high; give the size of the upright view");
  return arSession && mapSessionConfiguration;
}

MapSession::MapSession(const Construction& construction) {
  Console::print("initializing MapSession");
  parts_ = std::make_unique<Parts>(construction);
}

MapSession::~MapSession() = default;

std::shared_ptr<MapSession> MapSession::shared() {
  return std::static_pointer_cast<MapSession>(shared_from_this());
}

void MapSession::start(const Construction& construction) {
  const auto self = shared();
  configureCloudProvider(construction.developerKey);
  const auto constructed = std::make_shared<platform::DispatchSemaphore>(0);
  DispatchQueue::global(DispatchQoS::userInteractive)
      ->async(
          [self, arSession = construction.arSession, constructed] { self->open(arSession, *constructed); });
  const OpeningRequest& identity = parts_->identity;
  SystemLog::log("MapSession created for " + identity.appID + " " + identity.userID + " " + identity.mapID +
                 " - mode: " + std::to_string(rawValue(mapSessionMode())));
  const float threshold = parts_->mapSessionConfiguration->sceneUnderstandingConfidenceThreshold;
  // Before the detector is made, which may end the process.
  parts_->cloudApi->sendMetric("YeltMaps.RegisterObjectDetectionCallback", identity.developerKey);
  // The session owns the detector; the detector must not own the session.
  const auto detector = std::make_shared<SSDObjectDetector>(
      construction.view,
      [weak = std::weak_ptr(self), threshold](const auto& objects) {
        if (const auto session = weak.lock()) session->handleDetections(objects, threshold);
      },
      [observer = parts_->observer](const auto& frame, const auto& outcome) {
        observer->frameFinished(frame, outcome);
      });
  parts_->objectDetector.store(detector);
  parts_->observer->detectorCreated(detector);
  std::make_shared<RelocalizationLoop>(
      RelocalizationLoop::Session{
          .mode = mapSessionMode(),
          .cloudAPI = parts_->cloudApi,
          .configuration = parts_->mapSessionConfiguration,
          .observer = parts_->observer,
          .dataManager = [self] { return self->parts_->dataManager.load(); },
          .assetsCallback = [self] { return self->parts_->callbacks.load()->assetsFoundCallbackByCustomer; }})
      ->start();
  constructed->signal();
}

void MapSession::open(const std::shared_ptr<platform::ARSession>& arSession,
                      platform::DispatchSemaphore& constructed) {
  const auto self = shared();
  const auto dataManager = std::make_shared<DataManager>(arSession, self, parts_->cloudApi);
  // Keeps the manager of a reset that came before this task.
  parts_->dataManager.storeIfAbsent(dataManager);
  // Loading the first detector of a process takes time; an answer could arrive before the callbacks are
  // registered.
  constructed.wait();
  const auto report = [self, dataManager](MapStatus status) {
    self->parts_->observer->opened(status, dataManager->refusal());
    const StatusCallback bound = [self](MapStatus reported) { self->reportStatus(reported); };
    callApplication("reportStatus", bound, status);
  };
  if (isLocalizationMode()) {
    dataManager->createLocalizationSession(
        parts_->identity, report,
        [observer = parts_->observer](const JSON&) { observer->storedAssetsReceived(); });
  } else {
    dataManager->createMap(parts_->identity, report);
  }
}

void MapSession::registerCallbacks(AssetsFoundCallback assetsFoundCallback, StatusCallback statusCallback,
                                   ObjectDetectedCallback objectDetectedCallback) {
  parts_->callbacks.store(std::make_shared<const Parts::Callbacks>(Parts::Callbacks{
      std::move(assetsFoundCallback), std::move(statusCallback), std::move(objectDetectedCallback)}));
}

void MapSession::reportStatus(MapStatus status) {
  if (!parts_->callbacks.load()->statusCallbackByCustomer) return;
  DispatchQueue::main()->async([self = shared(), status] {
    callApplication("status", self->parts_->callbacks.load()->statusCallbackByCustomer, status);
  });
}

void MapSession::reset(std::shared_ptr<platform::ARSession> arSession) {
  if (!arSession) {
    SystemLog::log("reset: an AR session is needed");
    return;
  }
  parts_->arSession.store(arSession);
  parts_->dataManager.store(std::make_shared<DataManager>(std::move(arSession), shared(), parts_->cloudApi));
}

void MapSession::update(std::shared_ptr<const platform::ARFrame> frame) {
  const auto detector = parts_->objectDetector.load();
  if (!detector || !frame) return;
  parts_->observer->frameOffered(*frame, detector->offer(frame));
}

void MapSession::handleDetections(const std::vector<std::shared_ptr<DetectedObject>>& objects,
                                  float confidenceThreshold) {
  if (objects.empty()) return;
  const std::int64_t frameID = ++parts_->frameCounter;
  const auto sessionID = mapSessionUUID();
  callApplication("detections", parts_->callbacks.load()->objectDetectedCallback, objects);
  // Rows need the identifier as part of their key. Until the service has assigned it, objects are only
  // reported.
  if (!sessionID) return;
  saveDetections({.sessionID = *sessionID, .frameID = frameID, .mode = mapSessionMode(), .objects = objects},
                 confidenceThreshold, parts_->observer);
}

void MapSession::visualizeSceneUnderstanding(const std::shared_ptr<platform::UIView>& view,
                                             const std::shared_ptr<platform::ARSCNView>& scene) {
  const auto detector = parts_->objectDetector.load();
  if (!detector) {
    SystemLog::log("object detector not initialized. Call registerObjectDetectionCallback() first");
    return;
  }
  if (!view || !scene) {
    SystemLog::log("visualizeSceneUnderstanding: a view and a scene view are needed");
    return;
  }
  detector->drawBoundingBoxes = true;
  detector->setUpBoundingBoxes(view);
  detector->scene.store(scene->scene);
}

bool MapSession::storePlacement(const std::vector<std::shared_ptr<MapAsset>>& assets,
                                std::function<void(bool)> callback) {
  parts_->cloudApi->sendMetric("YeltMaps.AssetSaved", parts_->identity.developerKey);
  auto placed = assets;
  if (isLocalizationMode()) {
    if (!parts_->resolvedTranslation || !parts_->resolvedConfidence) {
      SystemLog::log(
          "Cannot store new assets in localization mode until previous assets have been localized");
      return false;
    }
    placed = resolved(assets, *parts_->resolvedTranslation, *parts_->resolvedConfidence);
  }
  const auto mapUUID = mappingUUID();
  if (!mapUUID) {
    logNotInitialized(mapSessionMode());
    return false;
  }
  parts_->cloudApi->placeAssetsOnMap(*mapUUID, placed, [callback = std::move(callback)](const JSON& answer) {
    callApplication("placement", callback, answer.contains("placement_id"));
  });
  return true;
}

bool MapSession::listNearbyMaps(const std::optional<std::string>& userID, double longitude, double latitude,
                                double longitudeDelta, double latitudeDelta,
                                MapsFoundCallback mapsFoundCallback) {
  const auto dataManager = parts_->dataManager.load();
  if (!dataManager) {
    logNotInitialized(mapSessionMode());
    return false;
  }
  dataManager->cloudAPI->listNearbyMaps(
      {.appID = parts_->identity.appID,
       .userID = userID,
       .longitude = longitude,
       .latitude = latitude,
       .longitudeDelta = longitudeDelta,
       .latitudeDelta = latitudeDelta,
       .developerKey = parts_->identity.developerKey},
      [callback = std::move(mapsFoundCallback)](const std::vector<std::shared_ptr<Map>>& maps) {
        callApplication("nearby maps", callback, maps);
      });
  return true;
}

MapMode MapSession::mapSessionMode() const {
  return parts_->geoloomMode;
}

std::optional<std::string> MapSession::mapSessionUUID() const {
  const auto dataManager = parts_->dataManager.load();
  if (!dataManager) return std::nullopt;
  return isLocalizationMode() ? dataManager->localizationSessionUUID() : dataManager->mapUUID();
}

std::optional<std::string> MapSession::mappingUUID() const {
  const auto dataManager = parts_->dataManager.load();
  return dataManager ? dataManager->mapUUID() : std::nullopt;
}

std::optional<MapTransform> MapSession::lastTransform() const {
  const auto dataManager = parts_->dataManager.load();
  return dataManager ? dataManager->appliedTransform() : std::nullopt;
}

const std::string& MapSession::mapID() const {
  return parts_->identity.mapID;
}

const std::string& MapSession::userID() const {
  return parts_->identity.userID;
}

}  // namespace geoloom
