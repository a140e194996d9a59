#include "geoloom/platform/foundation/NSLock.h"

#include "geoloom/platform/foundation/Dispatch.h"

namespace geoloom::platform {

void NSLock::lock() {
  if (tryLock()) return;
  const BlockingScope waiting;
  const base::MutexLock guard(mutex_);
  while (held_) released_.wait(mutex_);
  held_ = true;
}

bool NSLock::tryLock() {
  const base::MutexLock guard(mutex_);
  if (held_) return false;
  held_ = true;
  return true;
}

void NSLock::unlock() {
  const base::MutexLock guard(mutex_);
  held_ = false;
  // Under the mutex: the next owner may destroy this object.
  released_.notify_one();
}

}  // namespace geoloom::platform
