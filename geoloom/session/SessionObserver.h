#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/SceneUnderstanding/FrameOffer.h"
#include "geoloom/SceneUnderstanding/FrameOutcome.h"
#include "geoloom/session/types/MapAsset.h"
#include "geoloom/session/types/MapStatus.h"
#include "geoloom/session/types/MapTransform.h"

namespace geoloom {

class SSDObjectDetector;
namespace platform {
class ARFrame;
class JSON;
}  // namespace platform

/// Is called at the steps of a session, for the tools and tests of this repository. Not installed.
///
/// Install an observer, then create the session: it keeps the observer until the process ends. Several
/// sessions may share one observer, which cannot distinguish them. Operations do nothing unless overridden;
/// they must return soon and must not throw. The comment of each gives its thread.
class SessionObserver {
 public:
  /// Sessions that are created from now on call `observer`; null: no observer.
  static void install(std::shared_ptr<SessionObserver> observer);
  /// The observer installed last; never null.
  [[nodiscard]] static std::shared_ptr<SessionObserver> installed();

  SessionObserver() = default;
  virtual ~SessionObserver() = default;
  SessionObserver(const SessionObserver&) = delete;
  SessionObserver& operator=(const SessionObserver&) = delete;

  /// On the creating thread, before the opening request is sent. The detector's header says which thread may
  /// read what.
  virtual void detectorCreated(const std::shared_ptr<SSDObjectDetector>& /*detector*/) {}

  /// On the main queue, when the answer to the opening request is known and before the status is reported.
  /// `refusal` is the service's error text, empty unless it rejected the request.
  virtual void opened(MapStatus /*status*/, const std::string& /*refusal*/) {}

  /// On the main queue, localization only: the assets stored in the map have arrived.
  virtual void storedAssetsReceived() {}

  /// On the thread that calls MapSession::update, for each frame.
  virtual void frameOffered(const platform::ARFrame& /*frame*/, FrameOffer /*offer*/) {}

  /// On the detector's queue, once for each frame that was taken; `rowsExpected` and the application's
  /// detections callback have been called before. The next frame may be offered already.
  virtual void frameFinished(const platform::ARFrame& /*frame*/, const FrameOutcome& /*outcome*/) {}

  /// On the detector's queue: `count` rows of a batch will be saved. Each ends in rowSaved or rowFailed.
  virtual void rowsExpected(std::size_t /*count*/) {}

  /// On the table client's completion queue.
  virtual void rowSaved() {}
  /// On the table client's completion queue.
  virtual void rowFailed(const std::string& /*reason*/) {}

  /// On the asset queue: a localization by objects is requested.
  virtual void localizationAsked() {}
  /// On the main queue: the answer to such a request. Not called if the request fails.
  virtual void localizationAnswered(const platform::JSON& /*answer*/) {}

  /// On the asset queue: a scan found a new transform.
  virtual void transformFound(const MapTransform& /*transform*/) {}

  /// On the asset queue, before the application's assets callback receives the same list. MapSession's
  /// lastTransform() is the transform that moved them.
  virtual void assetsMoved(const std::vector<std::shared_ptr<MapAsset>>& /*assets*/) {}

  /// On the asset queue: a tick of the relocalization loop has ended and the next one is scheduled.
  virtual void tickEnded() {}
};

}  // namespace geoloom
