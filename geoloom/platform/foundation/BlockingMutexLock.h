#pragma once

#include "geoloom/base/Mutex.h"
#include "geoloom/platform/foundation/Dispatch.h"

namespace geoloom::platform {

/// Holds, for a scope, a Mutex that others keep for long. While this one waits for it, another thread of the
/// queues' pool stands in.
class GEOLOOM_SCOPED_CAPABILITY BlockingMutexLock {
 public:
  explicit BlockingMutexLock(base::Mutex& mutex) GEOLOOM_ACQUIRE(mutex) : mutex_(mutex) {
    // The scope ends without the lock: while the process exits, it does not return.
    while (!mutex_.tryLock()) {
      const BlockingScope waiting;
      const base::MutexLock passed(mutex_);
    }
  }
  ~BlockingMutexLock() GEOLOOM_RELEASE() { mutex_.unlock(); }
  BlockingMutexLock(const BlockingMutexLock&) = delete;
  BlockingMutexLock& operator=(const BlockingMutexLock&) = delete;

 private:
  base::Mutex& mutex_;
};

}  // namespace geoloom::platform
