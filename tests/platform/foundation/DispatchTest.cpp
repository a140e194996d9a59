#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/foundation/NSLock.h"

namespace geoloom::platform {
namespace {

using namespace std::chrono_literals;

TEST(Dispatch, SerialQueueKeepsTheOrderOfEachCaller) {
  const auto queue = DispatchQueue::serial("order");
  std::vector<int> seen;
  for (int i = 0; i < 1000; ++i) queue->async([&seen, i] { seen.push_back(i); });
  queue->sync([&] { EXPECT_TRUE(queue->isCurrent()); });
  EXPECT_EQ(seen.size(), 1000U);
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  EXPECT_FALSE(queue->isCurrent());
}

TEST(Dispatch, WaitingTasksDelayNoOtherQueue) {
  constexpr int waiting = 200;
  DispatchSemaphore gate(0);
  DispatchSemaphore arrived(0);
  DispatchSemaphore left(0);
  std::vector<std::shared_ptr<DispatchQueue>> queues;
  for (int i = 0; i < waiting; ++i) {
    queues.push_back(DispatchQueue::serial("waiting"));
    queues.back()->async([&] {
      arrived.signal();
      gate.wait();
      left.signal();
    });
  }
  for (int i = 0; i < waiting; ++i) ASSERT_TRUE(arrived.wait(30s));
  bool ran = false;
  DispatchQueue::serial("free")->sync([&] { ran = true; });
  DispatchQueue::global()->sync([&] { EXPECT_TRUE(ran); });
  for (int i = 0; i < waiting; ++i) gate.signal();
  for (int i = 0; i < waiting; ++i) ASSERT_TRUE(left.wait(30s));
}

TEST(Dispatch, ExceptionsAreLoggedWithTheQueueAndTheQueueGoesOn) {
  std::vector<std::string> lines;
  SystemLog::setSink([&](std::string_view line) { lines.emplace_back(line); });
  const auto queue = DispatchQueue::serial("com.example.queue");
  queue->async([] { throw std::runtime_error("boom"); });
  queue->async([] { throw 1; });
  queue->sync([] {});
  SystemLog::setSink({});
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "A task of the queue \"com.example.queue\" threw: boom");
}

TEST(Dispatch, TimersFollowTheManualClockInOrderOfTime) {
  const auto clock = std::make_shared<ManualClock>();
  Clock::install(clock);
  const auto queue = DispatchQueue::serial("timers");
  std::vector<std::string> seen;
  const auto note = [&](const char* name) { return [&seen, name] { seen.emplace_back(name); }; };
  queue->asyncAfter(2s, note("two"));
  queue->asyncAfter(1s, note("one"));
  queue->asyncAfter(1s, note("one, again"));
  queue->asyncAfter(3s, note("three"));
  clock->advance(999ms);
  queue->sync([&] { EXPECT_TRUE(seen.empty()); });
  clock->advance(1001ms);
  queue->sync([&] { EXPECT_EQ(seen, (std::vector<std::string>{"one", "one, again", "two"})); });
  EXPECT_EQ(clock->pending(), 1U);
  EXPECT_EQ(clock->uptime(), 2s);
  Clock::install(nullptr);
}

TEST(Dispatch, SystemTimersFire) {
  DispatchSemaphore fired(0);
  const auto before = Clock::current()->uptime();
  DispatchQueue::serial("timer")->asyncAfter(20ms, [&] { fired.signal(); });
  ASSERT_TRUE(fired.wait(30s));
  EXPECT_GE(Clock::current()->uptime() - before, 20ms);
}

TEST(Dispatch, MainQueueRunsOnOneThread) {
  std::thread::id first;
  std::thread::id second;
  DispatchQueue::main()->sync([&] { first = std::this_thread::get_id(); });
  DispatchQueue::main()->sync([&] {
    second = std::this_thread::get_id();
    EXPECT_TRUE(DispatchQueue::main()->isCurrent());
  });
  EXPECT_EQ(first, second);
  EXPECT_NE(first, std::this_thread::get_id());
  EXPECT_FALSE(MainQueue::handOver([](auto task) { task(); }));
}

TEST(Dispatch, MainQueueCanBeHandedToTheApplicationsLoop) {
  std::vector<std::function<void()>> loop;
  ASSERT_TRUE(MainQueue::handOver([&](std::function<void()> task) { loop.push_back(std::move(task)); }));
  std::thread::id ranOn;
  DispatchQueue::main()->async([&] { ranOn = std::this_thread::get_id(); });
  ASSERT_EQ(loop.size(), 1U);
  loop.front()();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(NSLock, IsTakenOnOneThreadAndReleasedOnAnother) {
  NSLock lock;
  ASSERT_TRUE(lock.tryLock());
  EXPECT_FALSE(lock.tryLock());
  DispatchQueue::serial("release")->async([&] { lock.unlock(); });
  lock.lock();
  lock.unlock();
  EXPECT_TRUE(lock.tryLock());
}

}  // namespace
}  // namespace geoloom::platform
