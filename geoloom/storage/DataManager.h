#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/cloud/OpeningRequest.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/session/types/MapStatus.h"
#include "geoloom/session/types/MapTransform.h"
#include "geoloom/storage/LocationManager.h"

namespace geoloom {

class CloudAPI;
namespace platform {
class ARSession;
}

/// Prepares the data directory, opens a map or a localization session with the service, keeps the identifiers
/// and assets of the answers and scans the table of transforms. Each session has a current manager; `reset`
/// replaces it.
///
/// Answers arrive on the main queue. The results may be read from any thread.
class DataManager final : public std::enable_shared_from_this<DataManager> {
 public:
  using StatusCallback = std::function<void(MapStatus)>;
  using AnswerCallback = std::function<void(const platform::JSON&)>;

  // This version captures no frames: it does not change the fields without a comment and runs nothing on the
  // two queues.

  /// The kit's directory in the application's documents directory.
  const std::string dataRootDirectory = "yelt";
  /// This session's directory, relative to the documents directory: "yelt/240315_142501".
  const std::string dataDirectory;
  const bool dataSaved = false;
  /// The transforms of this manager map to its coordinates.
  const std::shared_ptr<platform::ARSession> arSession;
  const std::shared_ptr<platform::DispatchQueue> imageSaveQueue;
  const std::shared_ptr<platform::DispatchQueue> relocalizationQueue;
  const bool saveImageLoopStarted = false;
  const std::optional<bool> stopImageLoop;
  /// Source of the location in the opening request.
  const std::shared_ptr<LocationManager> locManager;
  /// The session's own.
  const std::shared_ptr<CloudAPI> cloudAPI;
  /// The session that owns this manager; session and manager keep each other alive.
  const std::shared_ptr<platform::NSObject> session;
  const std::optional<float> latestConfidence;
  const std::vector<float> latestTranslation;
  const std::vector<float> latestRotation;
  const std::optional<float> latestRevealedConfidence;
  const std::uint32_t currentFrameID = 0;

  /// Empties the kit's directory in the application's documents directory and creates `dataDirectory` in it.
  DataManager(std::shared_ptr<platform::ARSession> arSession, std::shared_ptr<platform::NSObject> session,
              std::shared_ptr<CloudAPI> cloudAPI);

  /// Requests a new map from the service. Adds the device's location to `request` and returns at once;
  /// `report` is called once, on the main queue.
  void createMap(OpeningRequest request, StatusCallback report);

  /// Requests a localization session in the same way; after success also fetches the map's assets and passes
  /// them to `retrieved`.
  void createLocalizationSession(OpeningRequest request, StatusCallback report,
                                 AnswerCallback retrieved = {});

  /// Fetches the assets stored in the map and keeps the answer. `completion` receives it on the main queue;
  /// it is not called if the request fails or the map is not known.
  void retrieveAssets(AnswerCallback completion);

  /// Scans the transform table and returns the transform text of the best match for the map if it differs
  /// from the one returned last; otherwise, and if the map is unknown or the scan fails, the empty text.
  /// Blocks the calling thread until the scan has ended: call it from a serial queue, one call at a time.
  [[nodiscard]] std::string scanTransform();

  [[nodiscard]] std::optional<std::string> mapUUID() const { return identifiers_.load().map; }
  /// Localization only.
  [[nodiscard]] std::optional<std::string> localizationSessionUUID() const {
    return identifiers_.load().localizationSession;
  }
  /// The answer with the map's assets.
  [[nodiscard]] std::optional<platform::JSON> preloadedAssetJSON() const {
    return preloadedAssetJSON_.load();
  }

  /// True between an opening request and its answer.
  [[nodiscard]] bool isOpening() const { return isOpening_; }
  /// The service's "errorMessage" if it rejected the opening request, else empty.
  [[nodiscard]] std::string refusal() const { return refusal_.load(); }

  /// The transform of the assets that the application received last.
  [[nodiscard]] std::optional<MapTransform> appliedTransform() const { return appliedTransform_.load(); }
  void setAppliedTransform(const MapTransform& transform) { appliedTransform_.store(transform); }

 private:
  /// Both come in one answer and are replaced together.
  struct Identifiers {
    std::optional<std::string> localizationSession;
    std::optional<std::string> map;
  };

  void addLocation(OpeningRequest& request) const;
  [[nodiscard]] MapStatus mapStatus(const platform::JSON& answer);
  [[nodiscard]] MapStatus localizationStatus(const platform::JSON& answer);
  [[nodiscard]] MapStatus refusalStatus(const platform::JSON& answer);

  std::atomic<bool> isOpening_ = false;
  base::AtomicValue<std::string> refusal_;
  base::AtomicValue<std::optional<MapTransform>> appliedTransform_;
  base::AtomicValue<Identifiers> identifiers_;
  base::AtomicValue<std::optional<platform::JSON>> preloadedAssetJSON_;
  /// Used by scans only.
  std::string lastMatchTransform_;
};

}  // namespace geoloom
