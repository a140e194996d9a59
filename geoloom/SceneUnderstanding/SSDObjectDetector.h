#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "geoloom/SceneUnderstanding/FrameOffer.h"
#include "geoloom/SceneUnderstanding/FrameOutcome.h"
#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/SceneUnderstanding/draw/BoundingBoxPool.h"
#include "geoloom/SceneUnderstanding/gate/MotionGate.h"
#include "geoloom/SceneUnderstanding/track/SemanticNetwork.h"
#include "geoloom/base/AtomicValue.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/NSLock.h"
#include "geoloom/session/types/ViewSize.h"

namespace geoloom {

namespace platform {
class ARFrame;
class UIView;
class VNObservation;
}  // namespace platform

class DetectedObject;

/// Finds objects in camera frames and places them in the world. Held by std::shared_ptr: a frame being
/// analysed keeps its detector alive.
///
/// Threads. Call offer() and cameraMoved() on the thread that delivers frames. The analysis of a frame,
/// `callback` and the observer run on `updateQueue`.
class SSDObjectDetector : public std::enable_shared_from_this<SSDObjectDetector> {
 public:
  using Callback = std::function<void(const std::vector<std::shared_ptr<DetectedObject>>&)>;
  /// Receives the outcome of each frame that offer() took, after the next frame may already be offered.
  using Observer = std::function<void(const platform::ARFrame& frame, const FrameOutcome& outcome)>;
  using Observations = std::vector<std::shared_ptr<platform::VNObservation>>;
  /// Runs the network on a frame's image.
  using Vision = std::function<base::Result<Observations>(const platform::ARFrame& frame)>;

  /// The reason why the compiled network cannot be loaded; absent if it can.
  [[nodiscard]] static std::optional<std::string> modelFault();

  /// Loads the compiled network; if that fails, the process ends with the line "Can't load VisionML model" in
  /// the system log.
  SSDObjectDetector(ViewSize view, Callback callback, Observer observer = {});
  /// Uses another network.
  SSDObjectDetector(ViewSize view, Callback callback, Observer observer, Vision vision);
  ~SSDObjectDetector();
  SSDObjectDetector(const SSDObjectDetector&) = delete;
  SSDObjectDetector& operator=(const SSDObjectDetector&) = delete;

  /// Takes a frame for analysis if the camera has moved and no other frame is queued or being analysed. Never
  /// waits.
  FrameOffer offer(const std::shared_ptr<const platform::ARFrame>& frame);

  // The steps of offer(): it takes `lock`, queues predict() on `updateQueue` and unlocks after it.

  /// True if the camera has moved enough for another detection. Records the pose of every frame.
  [[nodiscard]] bool cameraMoved(const platform::ARFrame& frame);

  /// Detects objects in the frame and calls `callback` before it returns, but not if the image cannot be
  /// analysed.
  void predict(const std::shared_ptr<const platform::ARFrame>& frame);

  /// Adds the boxes of the 2D overlay to the view, hidden.
  void setUpBoundingBoxes(const std::shared_ptr<platform::UIView>& view);
  /// Hides the 2D overlay, asynchronously on the main queue.
  void hideBoundingBoxes();

  /// The time at which results were last handled, initially that of construction. Read on `updateQueue` only.
  [[nodiscard]] platform::Date lastExecution() const { return lastExecution_; }
  [[nodiscard]] const SSDPostProcessor& ssdPostProcessor() const { return ssdPostProcessor_; }
  [[nodiscard]] std::vector<BoundingBox> boundingBoxes() const { return boundingBoxes_->boxes(); }
  /// The motion gate's histories, oldest first: at most four positions (metres) and attitudes (radians). Read
  /// on the thread that delivers frames.
  [[nodiscard]] std::span<const platform::simd_float3> cameraPositions() const {
    return motionGate_.positions();
  }
  [[nodiscard]] std::span<const platform::simd_float3> cameraAngles() const { return motionGate_.angles(); }
  /// The tracked objects. Read on `updateQueue` only; in the callback they include those of its frame.
  [[nodiscard]] const SemanticNetwork& semanticNetwork() const { return semanticNetwork_; }

  /// The size of the application's upright view, in points.
  const double screenHeight;
  const double screenWidth;
  /// Number of boxes of the 2D overlay.
  static constexpr std::int64_t numBoxes = BoundingBoxPool::SIZE;
  /// Boxes are suppressed class by class.
  static constexpr bool multiClass = true;
  const std::shared_ptr<platform::DispatchQueue> updateQueue;
  /// Selects the drawings, and the scene for them. May be set at any time from any thread; read after the
  /// inference of each frame.
  std::atomic<bool> drawBoundingBoxes = false;
  std::atomic<bool> VISUALIZE_HITTEST_LOCS = false;
  base::AtomicValue<std::shared_ptr<platform::SCNScene>> scene;
  const Callback callback;
  /// Held while a frame is queued or being analysed.
  platform::NSLock lock;

 private:
  [[nodiscard]] FrameOutcome analyse(const platform::ARFrame& frame);
  void analyseTaken(const platform::ARFrame& frame);
  [[nodiscard]] base::Result<std::vector<Prediction>> processResults(const Observations& observations);
  void locateObjects(std::span<const Prediction> predictions, const platform::ARFrame& frame);

  platform::DispatchSemaphore semaphore_{1};
  platform::Date lastExecution_;
  SSDPostProcessor ssdPostProcessor_;
  const Vision vision_;
  const std::shared_ptr<BoundingBoxPool> boundingBoxes_;
  MotionGate motionGate_;
  SemanticNetwork semanticNetwork_;
  const Observer observer_;
};

}  // namespace geoloom
