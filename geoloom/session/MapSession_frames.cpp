// MapSession: from camera frames to detected objects.
#include <string>
#include <utility>

#include "geoloom/base/ScopeExit.h"
#include "geoloom/base/Text.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSCNView.h"
#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/ApplicationCallback.h"
#include "geoloom/session/MapSessionState.h"
#include "geoloom/storage/SceneUnderstandingModel.h"

namespace geoloom {
namespace {

using base::text;
using platform::Console;

void save(const DetectedObject& object, const std::string& sessionID, std::int64_t frameID,
          bool isLocalization) {
  const platform::SCNVector3 c = object.center;
  const SceneUnderstandingModel row(sessionID, frameID, c.x, c.y, c.z, object.name, object.confidence,
                                    isLocalization);
  const std::string saved =
      "An item was saved. " + object.name + ", " + text(c.x) + "," + text(c.y) + "," + text(c.z);
  platform::AWSDynamoDBObjectMapper::defaultMapper().save(
      row, [saved](const std::optional<platform::AWSError>& error) {
        Console::print(error ? "Amazon DynamoDB Save Error: " + error->description : saved);
      });
}

}  // namespace

void MapSession::update(std::shared_ptr<const platform::ARFrame> frame) {
  const auto detector = state_->objectDetector.load();
  if (!detector || !frame || !detector->cameraMoved(*frame)) return;
  // Taken here and released where the frame is analysed: until then further frames are dropped, not queued.
  if (!detector->lock.tryLock()) return;
  detector->updateQueue->async([detector, frame = std::move(frame)] {
    const base::ScopeExit unlock([&] { detector->lock.unlock(); });
    detector->predict(frame);
  });
}

void MapSession::handleDetections(const std::vector<std::shared_ptr<DetectedObject>>& objects,
                                  float confidenceThreshold) {
  if (objects.empty()) return;
  const std::int64_t frameID = ++state_->frameCounter;
  const auto sessionID = mapSessionUUID();
  callApplication("detections", state_->callbacks.load()->objectDetectedCallback, objects);
  // A row needs the identifier for its key; before the service has named it, objects are only reported.
  if (!sessionID) return;
  for (const auto& object : objects) {
    if (object->confidence < confidenceThreshold) continue;
    save(*object, *sessionID, frameID, isLocalizationMode());
  }
}

void MapSession::visualizeSceneUnderstanding(const std::shared_ptr<platform::UIView>& view,
                                             const std::shared_ptr<platform::ARSCNView>& scene) {
  const auto detector = state_->objectDetector.load();
  if (!detector) {
    platform::SystemLog::log("object detector not initialized. Call registerObjectDetectionCallback() first");
    return;
  }
  if (!view || !scene) {
    platform::SystemLog::log("visualizeSceneUnderstanding: a view and a scene view are needed");
    return;
  }
  detector->drawBoundingBoxes = true;
  detector->setUpBoundingBoxes(view);
  detector->scene.store(scene->scene);
}

}  // namespace geoloom
