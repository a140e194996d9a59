#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace geoloom::test {

/// Longest wait for anything in a test; reached only if something is broken.
inline constexpr std::chrono::seconds PATIENCE{30};

/// Polls a condition that nothing announces; false if it does not become true in time.
[[nodiscard]] bool eventually(const std::function<bool()>& condition);

/// A gate that stays shut until it is opened.
class Gate {
 public:
  void open();
  /// False if it stayed shut for too long.
  [[nodiscard]] bool wait();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

}  // namespace geoloom::test
