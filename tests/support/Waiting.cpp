#include "tests/support/Waiting.h"

#include <thread>

namespace geoloom::test {

bool eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + PATIENCE;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

void Gate::open() {
  const std::lock_guard lock(mutex_);
  open_ = true;
  changed_.notify_all();
}

bool Gate::wait() {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, PATIENCE, [this] { return open_; });
}

}  // namespace geoloom::test
