#pragma once

#include "geoloom/base/Mutex.h"
#include "geoloom/platform/foundation/Dispatch.h"

namespace geoloom::platform {

/// Locks, for a scope, a Mutex that others may hold for long. Waiting for it is a BlockingScope.
class GEOLOOM_SCOPED_CAPABILITY BlockingMutexLock {
 public:
  explicit BlockingMutexLock(base::Mutex& mutex) GEOLOOM_ACQUIRE(mutex) : mutex_(mutex) {
    // Unlock first: the destructor of BlockingScope does not return while the process exits.
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
