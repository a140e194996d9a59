#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// A point of wall-clock time, UTC.
using Date = std::chrono::system_clock::time_point;

/// Seconds since 1970-01-01 00:00 UTC.
[[nodiscard]] GEOLOOM_EXPORT double timeIntervalSince1970(Date date);

/// The kit's source of time: the wall clock for dates, a monotonic clock for timers. The process has one
/// current clock: the system's, unless the application installs another before it creates a session. All
/// operations may be called from any thread.
class GEOLOOM_EXPORT Clock {
 public:
  virtual ~Clock();

  [[nodiscard]] virtual Date date() const = 0;

  /// Monotonic time since an arbitrary start.
  [[nodiscard]] virtual std::chrono::nanoseconds uptime() const = 0;

  /// Runs `action` once, `delay` from now (at once if `delay` is not positive), on a thread of the clock.
  /// The action must be short and must not block: queues use it to submit a task.
  virtual void schedule(std::chrono::nanoseconds delay, std::function<void()> action) = 0;

  [[nodiscard]] static std::shared_ptr<Clock> current();

  /// Replaces the current clock; nullptr restores the system's. Actions scheduled on the old clock stay
  /// there.
  static void install(std::shared_ptr<Clock> clock);
};

/// A clock whose time changes only by `advance`, for timers in tests and in replay.
class GEOLOOM_EXPORT ManualClock final : public Clock {
 public:
  explicit ManualClock(Date start = Date{});
  ~ManualClock() override;

  [[nodiscard]] Date date() const override;
  [[nodiscard]] std::chrono::nanoseconds uptime() const override;
  void schedule(std::chrono::nanoseconds delay, std::function<void()> action) override;

  /// Moves the time forward and runs the actions that become due, on the caller's thread and in order of
  /// time, each with the clock at its due time. Actions that these schedule within the span run too.
  void advance(std::chrono::nanoseconds span);

  /// Number of actions not yet run.
  [[nodiscard]] std::size_t pending() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace geoloom::platform
