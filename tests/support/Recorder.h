#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/FakeService.h"

namespace geoloom::test {

/// Entries in the order added, from any thread.
template <class T>
class Recorder {
 public:
  void add(T entry) {
    const std::lock_guard lock(mutex_);
    entries_.push_back(std::move(entry));
    changed_.notify_all();
  }
  [[nodiscard]] std::vector<T> entries() const {
    const std::lock_guard lock(mutex_);
    return entries_;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
  }
  /// True as soon as there are `count` entries.
  [[nodiscard]] bool waitForCount(std::size_t count) const {
    return waitUntil([count](const std::vector<T>& entries) { return entries.size() >= count; });
  }
  /// True as soon as the entries satisfy the condition.
  template <class Condition>
  [[nodiscard]] bool waitUntil(Condition condition) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, PATIENCE, [&] { return condition(std::as_const(entries_)); });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<T> entries_;
};

/// Records the lines of the console ("> ...") and of the system log ("! ...") while it lives.
class LineRecorder : public Recorder<std::string> {
 public:
  LineRecorder();
  ~LineRecorder();
  LineRecorder(const LineRecorder&) = delete;
  LineRecorder& operator=(const LineRecorder&) = delete;
};

}  // namespace geoloom::test
