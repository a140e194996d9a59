#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <vector>

#include "geoloom/base/Mutex.h"

namespace geoloom::base {

/// The timers of the process. Those that end at about the same time end together: to wake the processor up
/// costs more than most of them do. May be used from any thread; actions run on threads of the pool, those of
/// one slot one after the other.
class TimerSlots {
 public:
  using Nanoseconds = std::chrono::nanoseconds;

  /// Never destroyed, as the pool.
  static TimerSlots& shared();

  /// Runs `action` when the slot of the delay, which is above zero, ends.
  void add(Nanoseconds delay, std::function<void()> action);

  /// The time at which what is put off at `now` is done: `delay` later or, by a tenth of it at most,
  /// after that. Slots of a width end at its multiples.
  [[nodiscard]] static Nanoseconds endOfSlot(Nanoseconds now, Nanoseconds delay);

 private:
  using Actions = std::vector<std::function<void()>>;

  void arm(Nanoseconds end) GEOLOOM_REQUIRES(mutex_);
  Actions take(Nanoseconds end);

  Mutex mutex_;
  std::map<Nanoseconds, Actions> actions_ GEOLOOM_GUARDED_BY(mutex_);
};

}  // namespace geoloom::base
