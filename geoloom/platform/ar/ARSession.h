#pragma once

#include <functional>
#include <memory>

#include "geoloom/Export.h"
#include "geoloom/base/Mutex.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom::platform {

class ARFrame;

/// A running world-tracking session. The tracker delivers frames to it, and it calls the application's
/// handler for each. May be used from any thread.
class GEOLOOM_EXPORT ARSession final : public NSObject {
 public:
  using FrameHandler = std::function<void(const std::shared_ptr<const ARFrame>&)>;

  ARSession();
  ~ARSession() override;

  /// Sets the application's handler, which is called for every frame on the delivering thread. May be empty.
  void setDidUpdateFrame(FrameHandler handler);

  /// The newest frame; null before the first.
  [[nodiscard]] std::shared_ptr<const ARFrame> currentFrame() const;

  /// For trackers and players: makes `frame` the current frame and calls the application's handler.
  void deliver(const std::shared_ptr<const ARFrame>& frame);

 private:
  mutable base::Mutex mutex_;
  FrameHandler didUpdateFrame_ GEOLOOM_GUARDED_BY(mutex_);
  std::shared_ptr<const ARFrame> currentFrame_ GEOLOOM_GUARDED_BY(mutex_);
};

}  // namespace geoloom::platform
