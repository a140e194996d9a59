#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace geoloom::test {

/// Longest wait for anything in a test; reached only if something is broken.
inline constexpr std::chrono::seconds PATIENCE{30};

/// Polls a condition for which there is no notification; false if it does not become true in time.
[[nodiscard]] bool eventually(const std::function<bool()>& condition);

/// A gate that is closed until it is opened once.
class Gate {
 public:
  void open();
  /// False if it is not opened in time.
  [[nodiscard]] bool wait();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

}  // namespace geoloom::test
