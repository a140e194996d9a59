#pragma once

#include <chrono>
#include <functional>

#include "geoloom/platform/foundation/Clock.h"

#include "tests/support/Recorder.h"

namespace geoloom::test {

/// A clock whose time never changes: it records the delay of an action and runs it at once.
class EagerClock final : public platform::Clock {
 public:
  [[nodiscard]] platform::Date date() const override { return {}; }
  [[nodiscard]] std::chrono::nanoseconds uptime() const override { return {}; }
  void schedule(std::chrono::nanoseconds delay, std::function<void()> action) override {
    delays.add(delay);
    action();
  }
  Recorder<std::chrono::nanoseconds> delays;
};

}  // namespace geoloom::test
