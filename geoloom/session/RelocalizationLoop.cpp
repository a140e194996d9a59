#include "geoloom/session/RelocalizationLoop.h"

#include <chrono>
#include <cstddef>
#include <utility>

#include "geoloom/base/ScopeExit.h"
#include "geoloom/base/Text.h"
#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/ApplicationCallback.h"
#include "geoloom/session/Relocalization.h"

namespace geoloom {
namespace {

using platform::Console;

constexpr std::chrono::seconds TICK_PERIOD{1};
/// Number of ticks between two requests for a localization by objects.
constexpr long SCENE_LOCALIZATION_TICKS = 8;
constexpr std::size_t TRANSFORM_NUMBERS = 4;

MapTransform mapTransform(const std::vector<float>& numbers) {
  return {.translation = {numbers[0], numbers[1], numbers[2]}, .rotation = numbers[3]};
}

}  // namespace

RelocalizationLoop::RelocalizationLoop(Session session)
    : session_(std::move(session)), reloadAssetQueue_(platform::DispatchQueue::serial("reloadAssetQueue")) {}

void RelocalizationLoop::scheduleTick() {
  reloadAssetQueue_->asyncAfter(TICK_PERIOD, [self = shared_from_this()] { self->tick(); });
}

void RelocalizationLoop::tick() {
  // The next tick follows even if this one throws.
  const base::ScopeExit next([this] {
    ++queryAssetsCounter_;
    scheduleTick();
    session_.observer->tickEnded();
  });
  const auto dataManager = session_.dataManager();
  if (!dataManager) return;
  handleTransform(dataManager, dataManager->scanTransform());
  localizeByObjects();
  noticeWaiting();
}

void RelocalizationLoop::handleTransform(const std::shared_ptr<DataManager>& dataManager,
                                         const std::string& found) {
  if (!found.empty()) {
    std::vector<float> numbers = parseTransform(found);
    if (numbers.size() < TRANSFORM_NUMBERS) {
      platform::SystemLog::log("dropped a transform with fewer than four numbers: " + found);
    } else {
      session_.observer->transformFound(mapTransform(numbers));
      pending_ = {dataManager, std::move(numbers)};
    }
  }
  // A transform is valid for the AR session of its own manager, which a reset may have replaced.
  if (pending_.dataManager.lock() != session_.dataManager()) pending_ = {};
  if (pending_.numbers.empty()) return;

  const auto callback = session_.assetsCallback();
  if (!callback) return;
  const std::vector<float> numbers = std::exchange(pending_, {}).numbers;
  const auto stored = dataManager->preloadedAssetJSON();
  std::vector<std::shared_ptr<MapAsset>> assets;
  if (stored) assets = relocalize(*stored, numbers, &Console::print);
  dataManager->setAppliedTransform(mapTransform(numbers));
  session_.observer->assetsMoved(assets);
  callApplication("assets", callback, assets);
}

void RelocalizationLoop::localizeByObjects() {
  if (session_.mode == MapMode::mapping || queryAssetsCounter_ % SCENE_LOCALIZATION_TICKS != 0) return;
  // Read again: the session may have been reset during the scan.
  const auto dataManager = session_.dataManager();
  if (!dataManager) return;
  const auto mapUUID = dataManager->mapUUID();
  const auto localizationSessionUUID = dataManager->localizationSessionUUID();
  if (!mapUUID || !localizationSessionUUID) return;
  Console::print("asking for new transform. Assets saved: " + std::to_string(savedAssetCount_) +
                 ". Mapping session id: " + base::text(mapUUID) +
                 ", localitzation session id: " + *localizationSessionUUID);
  session_.observer->localizationAsked();
  session_.cloudAPI->requestSceneLocalization(*mapUUID, *localizationSessionUUID,
                                              session_.configuration->featureMatchDistanceMeters,
                                              [observer = session_.observer](const platform::JSON& answer) {
                                                observer->localizationAnswered(answer);
                                              });
}

void RelocalizationLoop::noticeWaiting() {
  const auto dataManager = session_.dataManager();
  if (session_.mode == MapMode::mapping || !dataManager) return;
  std::string reason;
  if (dataManager->isOpening()) {
    reason = "the mapping service to answer the opening request (it has 60 s)";
  } else if (!pending_.numbers.empty()) {
    reason = "an assets callback: a transform was found, but registerCallbacks was given none";
  } else if (dataManager->localizationSessionUUID() && !dataManager->appliedTransform()) {
    reason = "a transform: the service does not recognise the place yet (it is asked every 8 s)";
  }
  if (const auto line = waitNotice_.update(reason, platform::Clock::current()->uptime()))
    Console::print(*line);
}

}  // namespace geoloom
