#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/session/SessionObserver.h"
#include "geoloom/session/WaitNotice.h"
#include "geoloom/session/types/MapAsset.h"
#include "geoloom/session/types/MapMode.h"
#include "geoloom/session/types/MapSessionConfiguration.h"
#include "geoloom/storage/DataManager.h"

namespace geoloom {

/// Once a second: scans for a new transform, moves the stored assets with it and passes them to the
/// application; in localization mode, every eighth time also requests a localization by objects. Runs on the
/// serial queue "reloadAssetQueue" and never ends: each scheduled tick owns the loop, and the loop owns the
/// functions of its session.
class RelocalizationLoop final : public std::enable_shared_from_this<RelocalizationLoop> {
 public:
  using AssetsCallback = std::function<void(const std::vector<std::shared_ptr<MapAsset>>&)>;

  /// The parts of the session that the loop uses.
  struct Session {
    MapMode mode = MapMode::mapping;
    std::shared_ptr<CloudAPI> cloudAPI;
    std::shared_ptr<MapSessionConfiguration> configuration;
    std::shared_ptr<SessionObserver> observer;
    /// The current manager; null before the session has one.
    std::function<std::shared_ptr<DataManager>()> dataManager;
    /// The registered callback, or an empty one.
    std::function<AssetsCallback()> assetsCallback;
  };

  explicit RelocalizationLoop(Session session);

  /// Schedules the first tick, a second from now.
  void start() { scheduleTick(); }

 private:
  /// A transform that waits for an assets callback.
  struct Pending {
    std::weak_ptr<DataManager> dataManager;
    std::vector<float> numbers;
  };

  void scheduleTick();
  void tick();
  void handleTransform(const std::shared_ptr<DataManager>& dataManager, const std::string& found);
  void localizeByObjects();
  void noticeWaiting();

  const Session session_;
  const std::shared_ptr<platform::DispatchQueue> reloadAssetQueue_;

  // Used on the queue only.
  const long savedAssetCount_ = 0;
  long queryAssetsCounter_ = 0;
  Pending pending_;
  WaitNotice waitNotice_;
};

}  // namespace geoloom
