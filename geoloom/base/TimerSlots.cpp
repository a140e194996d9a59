#include "geoloom/base/TimerSlots.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory>
#include <utility>

#include <asio/steady_timer.hpp>

#include "geoloom/base/ThreadPool.h"

namespace geoloom::base {

using std::chrono::steady_clock;

TimerSlots& TimerSlots::shared() {
  static TimerSlots& slots = *new TimerSlots;
  return slots;
}

TimerSlots::Nanoseconds TimerSlots::endOfSlot(Nanoseconds now, Nanoseconds delay) {
  constexpr std::uint64_t share = 10;
  // Beyond this the sum with the present time overflows.
  constexpr Nanoseconds longest = std::chrono::hours(24 * 365 * 100);
  const auto span = static_cast<std::uint64_t>(std::min(delay, longest).count());
  // A power of two, so that slots of different widths end together too.
  const std::uint64_t width = std::max<std::uint64_t>(std::bit_floor(span / share), 1);
  return Nanoseconds((static_cast<std::uint64_t>(now.count()) + span + width - 1) / width * width);
}

void TimerSlots::add(Nanoseconds delay, std::function<void()> action) {
  const Nanoseconds end = endOfSlot(steady_clock::now().time_since_epoch(), delay);
  const MutexLock lock(mutex_);
  Actions& slot = actions_[end];
  // Armed first, so that what is in a slot is never left there. One that stayed empty is armed twice.
  if (slot.empty()) arm(end);
  slot.push_back(std::move(action));
}

void TimerSlots::arm(Nanoseconds end) {
  auto timer =
      std::make_unique<asio::steady_timer>(ThreadPool::shared().context(), steady_clock::time_point(end));
  asio::steady_timer& armed = *timer;
  armed.async_wait([this, end, timer = std::move(timer)](const asio::error_code& /*never cancelled*/) {
    const ThreadPool::Batch together;
    for (const auto& action : take(end)) action();
  });
}

TimerSlots::Actions TimerSlots::take(Nanoseconds end) {
  const MutexLock lock(mutex_);
  auto slot = actions_.extract(end);
  return slot ? std::move(slot.mapped()) : Actions{};
}

}  // namespace geoloom::base
