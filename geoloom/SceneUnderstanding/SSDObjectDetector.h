#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/SceneUnderstanding/draw/BoundingBoxPool.h"
#include "geoloom/SceneUnderstanding/gate/MotionGate.h"
#include "geoloom/SceneUnderstanding/track/SemanticNetwork.h"
#include "geoloom/base/AtomicValue.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/NSLock.h"

namespace geoloom {

namespace platform {
class ARFrame;
class UIView;
class VNObservation;
}  // namespace platform

class DetectedObject;

/// Finds objects in camera frames and places them in the world.
///
/// Whoever delivers frames asks cameraMoved() of each, takes `lock` without waiting, queues predict() on
/// `updateQueue` and unlocks after it: one frame is in work at a time, those that come meanwhile are dropped.
/// cameraMoved() belongs to the thread that delivers frames; predict() and all it does, the callback
/// included, to `updateQueue`.
class SSDObjectDetector {
 public:
  using Callback = std::function<void(const std::vector<std::shared_ptr<DetectedObject>>&)>;
  using Observations = std::vector<std::shared_ptr<platform::VNObservation>>;
  /// Looks at a frame's picture: calls `completion` once with the observations, before it returns, or gives
  /// the reason why there are none.
  using Vision = std::function<std::optional<base::Failure>(
      const platform::ARFrame& frame, const std::function<void(const Observations&)>& completion)>;

  /// The size of the application's view, upright, in points. Loads the compiled network; where that cannot be
  /// done, the process ends with the line "Can't load VisionML model" in the system log.
  SSDObjectDetector(double screenHeight, double screenWidth, Callback callback);
  /// With something else that looks at pictures.
  SSDObjectDetector(double screenHeight, double screenWidth, Callback callback, Vision vision);
  ~SSDObjectDetector();
  SSDObjectDetector(const SSDObjectDetector&) = delete;
  SSDObjectDetector& operator=(const SSDObjectDetector&) = delete;

  /// Whether the camera has moved enough for another detection; takes note of every frame.
  [[nodiscard]] bool cameraMoved(const platform::ARFrame& frame);

  /// One detection on the frame's picture; returns when the callback has. No callback where the picture
  /// cannot be analysed.
  void predict(const std::shared_ptr<const platform::ARFrame>& frame);

  /// Puts the boxes of the 2D overlay on the view, hidden.
  void setUpBoundingBoxes(const std::shared_ptr<platform::UIView>& view);
  /// Hides the 2D overlay, asynchronously on the main queue.
  void hideBoundingBoxes();

  [[nodiscard]] const SSDPostProcessor& ssdPostProcessor() const { return ssdPostProcessor_; }
  [[nodiscard]] std::vector<BoundingBox> boundingBoxes() const { return boundingBoxes_->boxes(); }
  /// What the motion gate remembers, oldest first: at most four places (metres) and attitudes (radians). For
  /// the thread that delivers frames.
  [[nodiscard]] std::span<const platform::simd_float3> cameraPositions() const {
    return motionGate_.positions();
  }
  [[nodiscard]] std::span<const platform::simd_float3> cameraAngles() const { return motionGate_.angles(); }
  /// What is tracked. To be read on `updateQueue` only, from the callback for example: it has all objects of
  /// its frame.
  [[nodiscard]] const SemanticNetwork& semanticNetwork() const { return semanticNetwork_; }
  /// When results were last handled; at first the time of construction. For `updateQueue` only.
  [[nodiscard]] platform::Date lastExecution() const { return lastExecution_; }

  /// What analysing cost: the number of frames so far, and of the last one how long looking at its picture
  /// and handling what was seen took. For `updateQueue` only.
  struct Analysis {
    std::int64_t count = 0;
    std::chrono::steady_clock::duration vision{};
    std::chrono::steady_clock::duration handling{};
  };
  [[nodiscard]] const Analysis& lastAnalysis() const { return lastAnalysis_; }

  /// Boxes of the 2D overlay that are ever used.
  static constexpr std::int64_t numBoxes = BoundingBoxPool::SIZE;
  /// Boxes are suppressed class by class.
  static constexpr bool multiClass = true;

  const double screenHeight;
  const double screenWidth;
  const Callback callback;
  const std::shared_ptr<platform::DispatchQueue> updateQueue;
  platform::NSLock lock;

  /// What is drawn, and where. May be switched on at any time from any thread; read after each frame's
  /// inference.
  std::atomic<bool> drawBoundingBoxes = false;
  std::atomic<bool> VISUALIZE_HITTEST_LOCS = false;
  base::AtomicValue<std::shared_ptr<platform::SCNScene>> scene;

 private:
  void handleResults(const Observations& observations, const platform::ARFrame& frame);
  [[nodiscard]] std::optional<std::vector<Prediction>> processResults(const Observations& observations);
  void locateObjects(std::span<const Prediction> predictions, const platform::ARFrame& frame);

  platform::DispatchSemaphore semaphore_{1};
  platform::Date lastExecution_;
  Analysis lastAnalysis_;
  SSDPostProcessor ssdPostProcessor_;
  Vision vision_;
  std::shared_ptr<BoundingBoxPool> boundingBoxes_;
  MotionGate motionGate_;
  SemanticNetwork semanticNetwork_;
};

}  // namespace geoloom
