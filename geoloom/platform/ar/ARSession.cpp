#include "geoloom/platform/ar/ARSession.h"

#include "geoloom/platform/ar/ARFrame.h"

namespace geoloom::platform {

ARSession::ARSession() = default;
ARSession::~ARSession() = default;

void ARSession::setDidUpdateFrame(FrameHandler handler) {
  // The previous handler is destroyed with the argument, after the lock is released, because its destructor
  // runs application code.
  const base::MutexLock lock(mutex_);
  didUpdateFrame_.swap(handler);
}

std::shared_ptr<const ARFrame> ARSession::currentFrame() const {
  const base::MutexLock lock(mutex_);
  return currentFrame_;
}

void ARSession::deliver(const std::shared_ptr<const ARFrame>& frame) {
  FrameHandler handler;
  {
    const base::MutexLock lock(mutex_);
    currentFrame_ = frame;
    handler = didUpdateFrame_;
  }
  if (handler) handler(frame);
}

}  // namespace geoloom::platform
