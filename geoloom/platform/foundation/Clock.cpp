#include "geoloom/platform/foundation/Clock.h"

#include <algorithm>
#include <map>
#include <utility>

#include <asio/steady_timer.hpp>

#include "geoloom/base/Mutex.h"
#include "geoloom/base/ThreadPool.h"

namespace geoloom::platform {

namespace {

using std::chrono::nanoseconds;

/// The sum, at most the largest value.
nanoseconds later(nanoseconds now, nanoseconds span) {
  return now + std::min(span, nanoseconds::max() - now);
}

class SystemClock final : public Clock {
 public:
  Date date() const override { return std::chrono::system_clock::now(); }
  nanoseconds uptime() const override { return std::chrono::steady_clock::now().time_since_epoch(); }

  void schedule(nanoseconds delay, std::function<void()> action) override {
    base::ThreadPool& pool = base::ThreadPool::shared();
    if (delay <= nanoseconds::zero()) {
      pool.post(std::move(action));
      return;
    }
    auto timer = std::make_unique<asio::steady_timer>(
        pool.context(), std::chrono::steady_clock::time_point(later(uptime(), delay)));
    asio::steady_timer& armed = *timer;
    armed.async_wait([timer = std::move(timer),
                      action = std::move(action)](const asio::error_code& /*never cancelled*/) { action(); });
  }
};

struct CurrentClock {
  base::Mutex mutex;
  std::shared_ptr<Clock> clock GEOLOOM_GUARDED_BY(mutex) = std::make_shared<SystemClock>();
};

CurrentClock& currentClock() {
  static CurrentClock& current = *new CurrentClock;
  return current;
}

}  // namespace

double timeIntervalSince1970(Date date) {
  return std::chrono::duration<double>(date.time_since_epoch()).count();
}

Clock::~Clock() = default;

std::shared_ptr<Clock> Clock::current() {
  CurrentClock& current = currentClock();
  const base::MutexLock lock(current.mutex);
  return current.clock;
}

void Clock::install(std::shared_ptr<Clock> clock) {
  if (!clock) clock = std::make_shared<SystemClock>();
  CurrentClock& current = currentClock();
  // The old clock is destroyed after the lock is released: its tasks may call current().
  const base::MutexLock lock(current.mutex);
  current.clock.swap(clock);
}

struct ManualClock::State {
  explicit State(Date begin) : start(begin) {}

  const Date start;
  mutable base::Mutex mutex;
  nanoseconds now GEOLOOM_GUARDED_BY(mutex){0};
  /// By time; actions of equal time in the order scheduled.
  std::multimap<nanoseconds, std::function<void()>> actions GEOLOOM_GUARDED_BY(mutex);

  /// The next action due by `target`; moves the time to that action's, or to `target` if none is left.
  std::function<void()> takeDue(nanoseconds target) {
    const base::MutexLock lock(mutex);
    const auto first = actions.begin();
    if (first == actions.end() || first->first > target) {
      now = std::max(now, target);
      return {};
    }
    now = std::max(now, first->first);
    std::function<void()> action = std::move(first->second);
    actions.erase(first);
    return action;
  }
};

ManualClock::ManualClock(Date start) : state_(std::make_unique<State>(start)) {}

ManualClock::~ManualClock() = default;

Date ManualClock::date() const {
  return state_->start + std::chrono::duration_cast<Date::duration>(uptime());
}

nanoseconds ManualClock::uptime() const {
  const base::MutexLock lock(state_->mutex);
  return state_->now;
}

void ManualClock::schedule(nanoseconds delay, std::function<void()> action) {
  if (delay <= nanoseconds::zero()) {
    action();
    return;
  }
  const base::MutexLock lock(state_->mutex);
  state_->actions.emplace(later(state_->now, delay), std::move(action));
}

void ManualClock::advance(nanoseconds span) {
  const nanoseconds target = later(uptime(), span);
  while (const std::function<void()> action = state_->takeDue(target)) action();
}

std::size_t ManualClock::pending() const {
  const base::MutexLock lock(state_->mutex);
  return state_->actions.size();
}

}  // namespace geoloom::platform
