#include "geoloom/platform/foundation/NSLock.h"

#include "geoloom/platform/foundation/Dispatch.h"

namespace geoloom::platform {

void NSLock::lock() {
  if (tryLock()) return;
  const BlockingScope waiting;
  std::unique_lock guard(mutex_);
  released_.wait(guard, [this] { return !held_; });
  held_ = true;
}

bool NSLock::tryLock() {
  const std::lock_guard guard(mutex_);
  if (held_) return false;
  held_ = true;
  return true;
}

void NSLock::unlock() {
  {
    const std::lock_guard guard(mutex_);
    held_ = false;
  }
  released_.notify_one();
}

}  // namespace geoloom::platform
