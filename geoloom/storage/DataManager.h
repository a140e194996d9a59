#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/session/types/MapStatus.h"
#include "geoloom/storage/LocationManager.h"

namespace geoloom {

class CloudAPI;
class MapSession;
struct TransformRow;
namespace platform {
class ARSession;
}

/// One opening of a session: prepares the data directory, asks the service to create a map or a localization
/// session, keeps what it answers and looks for transforms. The session holds its current one; it holds the
/// session.
///
/// Answers arrive on the main queue. What they bring may be read from any thread.
class DataManager final : public std::enable_shared_from_this<DataManager> {
 public:
  using StatusCallback = std::function<void(MapStatus)>;

  // Frames are not captured by this version: the fields that have no comment keep these values, and nothing
  // is put on the two queues.

  /// The kit's directory in the application's documents directory.
  const std::string dataRootDirectory = "yelt";
  /// This session's directory, relative to the documents directory: "yelt/240315_142501".
  const std::string dataDirectory;
  const bool dataSaved = false;
  /// The AR session that the session was opened over.
  const std::shared_ptr<platform::ARSession> arSession;
  const std::shared_ptr<platform::DispatchQueue> imageSaveQueue;
  const std::shared_ptr<platform::DispatchQueue> relocalizationQueue;
  const bool saveImageLoopStarted = false;
  const std::optional<bool> stopImageLoop;
  /// Where the opening request takes the location from.
  const std::shared_ptr<LocationManager> locManager;
  /// The session's own.
  const std::shared_ptr<CloudAPI> cloudAPI;
  /// Session and manager keep each other alive.
  const std::shared_ptr<MapSession> session;
  const std::optional<float> latestConfidence;
  const std::vector<float> latestTranslation;
  const std::vector<float> latestRotation;
  const std::optional<float> latestRevealedConfidence;
  const std::uint32_t currentFrameID = 0;

  /// Empties the kit's directory in the application's documents directory and makes this session's in it.
  DataManager(std::shared_ptr<platform::ARSession> arSession, std::shared_ptr<MapSession> session,
              std::shared_ptr<CloudAPI> cloudAPI);

  /// Asks the service to create a map (mapping). Returns at once; `report` is called once, on the main queue.
  void createMap(StatusCallback report);

  /// Asks the service to open a localization session (localization); after success also for the map's assets.
  /// Returns at once; `report` is called once, on the main queue.
  void createLocalizationSession(StatusCallback report);

  /// Asks for the assets stored in the map and keeps the answer. `completion` receives it on the main queue,
  /// or is not called when there is none or the map is not known.
  void retrieveAssets(std::function<void(const platform::JSON&)> completion);

  /// Finds the transform text of the best match for the map when it differs from the one found before; else
  /// the empty text. `completion` runs once, on `queue`, in this call when the map is not known; it asks the
  /// table service, with pauses and retries, and no thread waits. One scan at a time: call again after the
  /// completion.
  void scanTransform(std::shared_ptr<platform::DispatchQueue> queue,
                     std::function<void(std::string)> completion);

  [[nodiscard]] std::optional<std::string> mapUUID() const { return identifiers_.load().map; }
  /// Localization only.
  [[nodiscard]] std::optional<std::string> localizationSessionUUID() const {
    return identifiers_.load().localizationSession;
  }
  /// The answer that holds the map's assets.
  [[nodiscard]] std::optional<platform::JSON> preloadedAssetJSON() const {
    return preloadedAssetJSON_.load();
  }

 private:
  /// Both come in one answer and are replaced together.
  struct Identifiers {
    std::optional<std::string> map;
    std::optional<std::string> localizationSession;
  };

  [[nodiscard]] MapStatus takeMapAnswer(const platform::JSON& answer);
  [[nodiscard]] MapStatus takeLocalizationAnswer(const platform::JSON& answer);
  [[nodiscard]] std::string takeRows(const std::vector<TransformRow>& rows);

  base::AtomicValue<Identifiers> identifiers_;
  base::AtomicValue<std::optional<platform::JSON>> preloadedAssetJSON_;
  /// Only scans touch it.
  std::string lastMatchTransform_;
};

}  // namespace geoloom
