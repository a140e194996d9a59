#pragma once

#include <condition_variable>

#include "geoloom/base/Mutex.h"

namespace geoloom::platform {

/// A non-recursive lock. Unlike std::mutex, it may be released by another thread.
class NSLock {
 public:
  void lock();
  /// Takes the lock if it is free; never blocks.
  [[nodiscard]] bool tryLock();
  /// Precondition: the lock is held.
  void unlock();

 private:
  base::Mutex mutex_;
  std::condition_variable_any released_;
  bool held_ GEOLOOM_GUARDED_BY(mutex_) = false;
};

}  // namespace geoloom::platform
