#include "geoloom/session/MapSession.h"

#include <utility>

#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/aws/AWSCloudWatch.h"
#include "geoloom/platform/aws/AWSServiceConfiguration.h"
#include "geoloom/platform/aws/DeveloperKey.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/ApplicationCallback.h"
#include "geoloom/session/MapSessionState.h"
#include "geoloom/session/types/ServiceEndpoints.h"

namespace geoloom {
namespace {

using platform::Console;
using platform::DispatchQoS;
using platform::DispatchQueue;
using platform::SystemLog;

// For the whole process: the session constructed last decides.
void configureCloudProvider(const std::string& developerKey) {
  const auto [accessKey, secretKey] = platform::DeveloperKey::pair(developerKey);
  const auto endpoints = ServiceEndpoints::current();
  const auto configuration = std::make_shared<const platform::AWSServiceConfiguration>(
      platform::AWSRegionUSWest2,
      std::make_shared<platform::AWSStaticCredentialsProvider>(accessKey, secretKey),
      platform::AWSServiceEndpoints{.tables = endpoints.tables, .metrics = endpoints.metrics});
  platform::AWSServiceManager::defaultServiceManager().setDefaultServiceConfiguration(configuration);
  platform::AWSCloudWatch::registerCloudWatch(configuration, std::string(CloudAPI::METRICS_CLIENT_KEY));
}

}  // namespace

bool MapSession::Construction::isComplete() const {
  if (!arSession) SystemLog::log("MapSession not created: no AR session was given");
  if (!mapSessionConfiguration) SystemLog::log("MapSession not created: no configuration was given");
  return arSession && mapSessionConfiguration;
}

MapSession::MapSession(const Construction& construction) : state_(std::make_unique<State>()) {
  state_->reloadAssetQueue = DispatchQueue::serial("reloadAssetQueue");
  Console::print("initializing MapSession");
  state_->arSession.store(construction.arSession);
  state_->geoloomMode = construction.mapMode;
  state_->appID = platform::Bundle::mainBundleIdentifier();
  state_->userID = construction.userID;
  state_->mapID = construction.mapID;
  state_->developerKeyHash = platform::DeveloperKey::hash(construction.developerKey);
  state_->mapSessionConfiguration = construction.mapSessionConfiguration;
  state_->cloudApi = std::make_shared<CloudAPI>(USE_BETA_ALGO);
}

MapSession::~MapSession() = default;

void MapSession::start(const Construction& construction) {
  const auto self = std::static_pointer_cast<MapSession>(shared_from_this());
  configureCloudProvider(construction.developerKey);
  SystemLog::log("MapSession created for " + appID() + " " + userID() + " " + mapID() +
                 " - mode: " + std::to_string(rawValue(mapSessionMode())));
  const float threshold = state_->mapSessionConfiguration->sceneUnderstandingConfidenceThreshold;
  // Before the detector is made: that can be the end of the process.
  state_->cloudApi->sendMetric("YeltMaps.RegisterObjectDetectionCallback", developerKeyHash());
  state_->objectDetector.store(std::make_shared<SSDObjectDetector>(
      construction.screenHeight, construction.screenWidth,
      [weak = std::weak_ptr(self), threshold](const std::vector<std::shared_ptr<DetectedObject>>& objects) {
        if (const auto session = weak.lock()) session->handleDetections(objects, threshold);
      }));
  scheduleTick();
  // Last: the first detector of a process takes its time, in which an answer could come and find no
  // callbacks.
  DispatchQueue::global(DispatchQoS::userInteractive)->async([self, arSession = construction.arSession] {
    self->open(arSession);
  });
}

void MapSession::open(const std::shared_ptr<platform::ARSession>& arSession) {
  const auto self = std::static_pointer_cast<MapSession>(shared_from_this());
  const auto dataManager = std::make_shared<DataManager>(arSession, self, state_->cloudApi);
  // A reset that came before this task stays in force.
  state_->dataManager.storeIfAbsent(dataManager);
  const StatusCallback bound = [self](MapStatus status) { self->reportStatus(status); };
  const auto report = [bound](MapStatus status) { callApplication("reportStatus", bound, status); };
  if (isLocalizationMode()) {
    dataManager->createLocalizationSession(report);
  } else {
    dataManager->createMap(report);
  }
}

void MapSession::registerCallbacks(AssetsFoundCallback assetsFoundCallback, StatusCallback statusCallback,
                                   ObjectDetectedCallback objectDetectedCallback) {
  state_->callbacks.store(std::make_shared<const State::Callbacks>(State::Callbacks{
      std::move(assetsFoundCallback), std::move(statusCallback), std::move(objectDetectedCallback)}));
}

void MapSession::reportStatus(MapStatus status) {
  if (!state_->callbacks.load()->statusCallbackByCustomer) return;
  const auto self = std::static_pointer_cast<MapSession>(shared_from_this());
  DispatchQueue::main()->async([self, status] {
    callApplication("status", self->state_->callbacks.load()->statusCallbackByCustomer, status);
  });
}

void MapSession::reset(std::shared_ptr<platform::ARSession> arSession) {
  if (!arSession) {
    SystemLog::log("reset: an AR session is needed");
    return;
  }
  const auto self = std::static_pointer_cast<MapSession>(shared_from_this());
  state_->arSession.store(arSession);
  state_->dataManager.store(std::make_shared<DataManager>(std::move(arSession), self, state_->cloudApi));
}

MapMode MapSession::mapSessionMode() const {
  return state_->geoloomMode;
}

std::optional<std::string> MapSession::mapSessionUUID() const {
  const auto dataManager = state_->dataManager.load();
  if (!dataManager) return std::nullopt;
  return isLocalizationMode() ? dataManager->localizationSessionUUID() : dataManager->mapUUID();
}

std::optional<std::string> MapSession::mappingUUID() const {
  const auto dataManager = state_->dataManager.load();
  return dataManager ? dataManager->mapUUID() : std::nullopt;
}

const std::string& MapSession::mapID() const {
  return state_->mapID;
}
const std::string& MapSession::userID() const {
  return state_->userID;
}
const std::string& MapSession::appID() const {
  return state_->appID;
}
const std::string& MapSession::developerKeyHash() const {
  return state_->developerKeyHash;
}

}  // namespace geoloom
