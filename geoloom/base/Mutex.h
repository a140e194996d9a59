#pragma once

#include <mutex>

#include "geoloom/Export.h"

namespace geoloom::base {

/// A std::mutex annotated for clang's thread-safety analysis. Use std::condition_variable_any to wait.
class GEOLOOM_CAPABILITY("mutex") Mutex {
 public:
  void lock() GEOLOOM_ACQUIRE() { mutex_.lock(); }
  [[nodiscard]] bool tryLock() GEOLOOM_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
  void unlock() GEOLOOM_RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Locks a Mutex for a scope.
class GEOLOOM_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) GEOLOOM_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() GEOLOOM_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace geoloom::base
