#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "geoloom/SceneUnderstanding/SSDObjectDetector.h"
#include "geoloom/base/AtomicValue.h"
#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/session/MapSession.h"
#include "geoloom/storage/DataManager.h"

namespace geoloom {

/// What a session is made of. Fields without a note never change once the session is constructed.
struct MapSession::State {
  struct Callbacks {
    AssetsFoundCallback assetsFoundCallbackByCustomer;
    StatusCallback statusCallbackByCustomer;
    ObjectDetectedCallback objectDetectedCallback;
  };

  /// A transform that no assets callback has taken yet, and whose stored assets it moves.
  struct Transform {
    std::weak_ptr<DataManager> dataManager;
    std::vector<float> numbers;
  };

  std::shared_ptr<platform::DispatchQueue> reloadAssetQueue;
  base::AtomicValue<std::shared_ptr<platform::ARSession>> arSession;
  MapMode geoloomMode;
  std::string appID;
  std::string userID;
  std::string mapID;
  std::string developerKeyHash;
  std::shared_ptr<MapSessionConfiguration> mapSessionConfiguration;
  std::shared_ptr<CloudAPI> cloudApi;

  /// Absent until construction has made it; a derived session may be at work by then.
  base::AtomicValue<std::shared_ptr<SSDObjectDetector>> objectDetector;
  /// Written by the start-up task and by `reset`.
  base::AtomicValue<std::shared_ptr<DataManager>> dataManager;
  /// Written by `registerCallbacks`; never nullptr.
  base::AtomicValue<std::shared_ptr<const Callbacks>> callbacks{std::make_shared<const Callbacks>()};

  /// Where the map lies in this session. Nothing resolves it yet, so a localization session takes no
  /// placements.
  std::optional<std::vector<float>> resolvedTranslation;
  std::optional<float> resolvedConfidence;
  long savedAssetCount = 0;

  /// Only the relocalization loop touches these two.
  long queryAssetsCounter = 0;
  Transform pendingTransform;
  /// Batches of detections that were not empty. Only the detection handler touches it.
  std::int64_t frameCounter = 0;
};

/// How the kit's own code and its tests reach behind MapSession.
struct MapSessionInternals {
  [[nodiscard]] static MapSession::State& state(MapSession& session) { return *session.state_; }
  static void handleDetections(MapSession& session,
                               const std::vector<std::shared_ptr<DetectedObject>>& objects,
                               float confidenceThreshold) {
    session.handleDetections(objects, confidenceThreshold);
  }
};

}  // namespace geoloom
