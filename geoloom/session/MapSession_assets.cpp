// MapSession: assets that are placed in the map and come back from it.
#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "geoloom/base/Text.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/ApplicationCallback.h"
#include "geoloom/session/MapSessionState.h"
#include "geoloom/session/Relocalization.h"

namespace geoloom {
namespace {

using platform::Console;
using platform::JSON;
using platform::SystemLog;
using Assets = std::vector<std::shared_ptr<MapAsset>>;

constexpr std::chrono::seconds TICK_PERIOD{1};
/// Ticks from one request for a localization by objects to the next.
constexpr long SCENE_LOCALIZATION_TICKS = 8;
constexpr std::size_t TRANSFORM_NUMBERS = 4;

void logNotInitialized(MapMode mode) {
  SystemLog::log(
      "MapSession has not yet been fully initialized. Wait for statusCallback with .initialized before "
      "storing any "
      "assets. (mode - " +
      std::to_string(rawValue(mode)) + ")");
}

}  // namespace

bool MapSession::storePlacement(const Assets& assets, std::function<void(bool)> callback) {
  state_->cloudApi->sendMetric("YeltMaps.AssetSaved", developerKeyHash());
  Assets placed = assets;
  if (isLocalizationMode()) {
    if (!state_->resolvedTranslation || !state_->resolvedConfidence) {
      SystemLog::log(
          "Cannot store new assets in localization mode until previous assets have been localized");
      return false;
    }
    placed = resolved(assets, *state_->resolvedTranslation, *state_->resolvedConfidence);
  }
  const auto mapUUID = mappingUUID();
  if (!mapUUID) {
    logNotInitialized(mapSessionMode());
    return false;
  }
  state_->cloudApi->placeAssetsOnMap(*mapUUID, placed, [callback = std::move(callback)](const JSON& answer) {
    callApplication("placement", callback, answer.contains("placement_id"));
  });
  return true;
}

bool MapSession::listNearbyMaps(const std::optional<std::string>& userID, double longitude, double latitude,
                                double longitudeDelta, double latitudeDelta,
                                MapsFoundCallback mapsFoundCallback) {
  const auto dataManager = state_->dataManager.load();
  if (!dataManager) {
    logNotInitialized(mapSessionMode());
    return false;
  }
  dataManager->cloudAPI->listNearbyMaps(
      appID(), userID, longitude, latitude, longitudeDelta, latitudeDelta, developerKeyHash(),
      [callback = std::move(mapsFoundCallback)](const std::vector<std::shared_ptr<Map>>& maps) {
        callApplication("nearby maps", callback, maps);
      });
  return true;
}

void MapSession::scheduleTick() {
  const auto self = std::static_pointer_cast<MapSession>(shared_from_this());
  state_->reloadAssetQueue->asyncAfter(TICK_PERIOD, [self] { self->tick(); });
}

void MapSession::tick() {
  const auto self = std::static_pointer_cast<MapSession>(shared_from_this());
  // Whatever comes of this tick, another follows it: when its last step is gone.
  const std::shared_ptr<void> next(this, [self](void*) {
    ++self->state_->queryAssetsCounter;
    self->scheduleTick();
  });
  const auto dataManager = state_->dataManager.load();
  if (!dataManager) return;
  // Until the scan has ended its answer is this queue's only task.
  dataManager->scanTransform(state_->reloadAssetQueue->hold(),
                             [self, next, dataManager](const std::string& found) {
                               self->takeTransform(dataManager, found);
                               self->localizeByObjects();
                             });
}

void MapSession::localizeByObjects() {
  if (!isLocalizationMode() || state_->queryAssetsCounter % SCENE_LOCALIZATION_TICKS != 0) return;
  // Read again: a scan takes its time, and a reset may have come meanwhile.
  if (const auto dataManager = state_->dataManager.load()) requestSceneLocalization(*dataManager);
}

void MapSession::takeTransform(const std::shared_ptr<DataManager>& dataManager, const std::string& found) {
  State::Transform& pending = state_->pendingTransform;
  if (!found.empty()) {
    std::vector<float> numbers = parseTransform(found);
    if (numbers.size() < TRANSFORM_NUMBERS)
      SystemLog::log("dropped a transform with fewer than four numbers: " + found);
    else
      pending = {dataManager, std::move(numbers)};
  }
  // A transform leads into the AR session of its own data manager, which a reset may have replaced.
  if (pending.dataManager.lock() != state_->dataManager.load()) pending = {};
  if (pending.numbers.empty()) return;

  const auto callback = state_->callbacks.load()->assetsFoundCallbackByCustomer;
  if (!callback) return;
  const std::vector<float> numbers = std::exchange(pending, {}).numbers;
  const auto stored = dataManager->preloadedAssetJSON();
  callApplication("assets", callback, stored ? relocalize(*stored, numbers, &Console::print) : Assets{});
}

void MapSession::requestSceneLocalization(const DataManager& dataManager) {
  const auto mapUUID = dataManager.mapUUID();
  const auto localizationSessionUUID = dataManager.localizationSessionUUID();
  if (!mapUUID || !localizationSessionUUID) return;
  Console::print("asking for new transform. Assets saved: " + std::to_string(state_->savedAssetCount) +
                 ". Mapping session id: " + base::text(mapUUID) +
                 ", localitzation session id: " + *localizationSessionUUID);
  state_->cloudApi->requestSceneLocalization(*mapUUID, *localizationSessionUUID,
                                             state_->mapSessionConfiguration->featureMatchDistanceMeters);
}

}  // namespace geoloom
