#pragma once

#include <utility>

#include "geoloom/base/Mutex.h"

namespace geoloom::base {

/// A value that is replaced as a whole: a reader on any thread gets either the old or the new value.
template <class T>
class AtomicValue {
 public:
  AtomicValue() = default;
  explicit AtomicValue(T value) : value_(std::move(value)) {}

  [[nodiscard]] T load() const {
    const MutexLock lock(mutex_);
    return value_;
  }

  /// The old value is destroyed on the caller's thread, after the lock is released.
  void store(T value) {
    const MutexLock lock(mutex_);
    std::swap(value_, value);
  }

  /// Only for values that can be absent: keeps a value that is present.
  void storeIfAbsent(T value) {
    const MutexLock lock(mutex_);
    if (!value_) value_ = std::move(value);
  }

 private:
  mutable Mutex mutex_;
  T value_ GEOLOOM_GUARDED_BY(mutex_){};
};

}  // namespace geoloom::base
