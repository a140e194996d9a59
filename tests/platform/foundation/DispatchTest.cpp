#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/foundation/NSLock.h"
#include "geoloom/platform/foundation/TimerSlots.h"

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

std::ptrdiff_t threadCount() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

/// Lets `count` tasks wait at once, nested waits among them, until all have arrived.
void waitTogether(int count) {
  DispatchSemaphore gate(0);
  DispatchSemaphore arrived(0);
  DispatchSemaphore left(0);
  for (int i = 0; i < count; ++i)
    DispatchQueue::global()->async([&] {
      {
        const BlockingScope outer;
        arrived.signal();
        gate.wait();
      }
      left.signal();
    });
  for (int i = 0; i < count; ++i) ASSERT_TRUE(arrived.wait(30s));
  for (int i = 0; i < count; ++i) gate.signal();
  for (int i = 0; i < count; ++i) ASSERT_TRUE(left.wait(30s));
}

TEST(Dispatch, ThreadsThatReplacedWaitingOnesDoNotPileUp) {
  for (int i = 0; i < 20; ++i) waitTogether(50);
  // Those of one round, and some on their way out.
  EXPECT_LE(threadCount(), 150);
}

TEST(Dispatch, GlobalQueueRunsItsTasksConcurrently) {
  DispatchSemaphore first(0);
  DispatchSemaphore second(0);
  DispatchSemaphore done(0);
  DispatchQueue::global()->async([&] {
    first.signal();
    if (second.wait(30s)) done.signal();
  });
  DispatchQueue::global()->async([&] {
    second.signal();
    if (first.wait(30s)) done.signal();
  });
  EXPECT_TRUE(done.wait(30s));
  EXPECT_TRUE(done.wait(30s));
}

TEST(Dispatch, SerialQueueRunsOneTaskAtATimeForManyCallers) {
  constexpr int callers = 4;
  constexpr int tasks = 500;
  const auto queue = DispatchQueue::serial("one at a time");
  // Read and written without a lock: the queue is what orders them.
  std::vector<std::vector<int>> seen(callers);
  int running = 0;
  std::vector<std::thread> threads;
  for (int caller = 0; caller < callers; ++caller)
    threads.emplace_back([&, caller] {
      for (int i = 0; i < tasks; ++i)
        queue->async([&, caller, i] {
          EXPECT_EQ(++running, 1);
          seen[static_cast<std::size_t>(caller)].push_back(i);
          --running;
        });
    });
  for (std::thread& thread : threads) thread.join();
  queue->sync([] {});
  for (const std::vector<int>& order : seen) {
    EXPECT_EQ(order.size(), static_cast<std::size_t>(tasks));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  }
}

/// Part of a task of `queue`, until it is given back.
std::shared_ptr<DispatchQueue> held(const std::shared_ptr<DispatchQueue>& queue) {
  std::shared_ptr<DispatchQueue> holding;
  DispatchSemaphore began(0);
  queue->async([&] {
    holding = queue->hold();
    began.signal();
  });
  began.wait();
  return holding;
}

TEST(Dispatch, ATaskThatEndsElsewhereHoldsItsQueueAndNoThread) {
  constexpr int holding = 200;
  std::vector<std::shared_ptr<DispatchQueue>> queues;
  std::vector<std::shared_ptr<DispatchQueue>> holds;
  std::vector<std::string> seen(holding);
  for (std::size_t i = 0; i < holding; ++i) {
    queues.push_back(DispatchQueue::serial("held"));
    holds.push_back(held(queues[i]));
    queues[i]->async([&seen, i] { seen[i] += "next"; });
  }
  EXPECT_LE(threadCount(), 40 + static_cast<int>(std::thread::hardware_concurrency()));
  for (std::size_t i = 0; i < holding; ++i)
    for (const char* const part : {"a ", "b ", "c "})
      holds[i]->async([&seen, i, part, queue = queues[i]] {
        EXPECT_TRUE(queue->isCurrent());
        seen[i] += part;
      });
  holds.clear();
  for (std::size_t i = 0; i < holding; ++i) {
    queues[i]->sync([] {});
    EXPECT_EQ(seen[i], "a b c next");
  }
}

TEST(Dispatch, AQueueThatIsHeldTwiceGoesOnAfterBoth) {
  const auto queue = DispatchQueue::serial("held");
  auto first = held(queue);
  std::shared_ptr<DispatchQueue> second;
  DispatchSemaphore made(0);
  first->async([&] {
    second = queue->hold();
    made.signal();
  });
  made.wait();
  bool ran = false;
  queue->async([&ran] { ran = true; });
  first.reset();
  second->sync([&] {
    EXPECT_FALSE(ran);
    EXPECT_TRUE(queue->isCurrent());
  });
  second.reset();
  queue->sync([&ran] { EXPECT_TRUE(ran); });
  EXPECT_EQ(DispatchQueue::global()->hold(), DispatchQueue::global());
}

TEST(Dispatch, QueueLivesUntilItsLastTaskHasRun) {
  DispatchSemaphore gate(0);
  DispatchSemaphore ran(0);
  auto queue = DispatchQueue::serial("dropped");
  const std::weak_ptr<DispatchQueue> watched = queue;
  queue->async([&] { gate.wait(); });
  queue->async([&, &label = queue->label()] {
    EXPECT_EQ(label, "dropped");
    ran.signal();
  });
  queue = nullptr;
  EXPECT_FALSE(watched.expired());
  gate.signal();
  EXPECT_TRUE(ran.wait(30s));
}

TEST(Dispatch, SemaphoreCountsAndTimesOut) {
  DispatchSemaphore semaphore(2);
  EXPECT_TRUE(semaphore.wait(0ns));
  semaphore.wait();
  EXPECT_FALSE(semaphore.wait(1ms));
  EXPECT_FALSE(semaphore.wait(-1s));
  DispatchQueue::global()->async([&] { semaphore.signal(); });
  EXPECT_TRUE(semaphore.wait(std::chrono::nanoseconds::max()));
}

TEST(Dispatch, ThreadsLeaveSignalsToTheApplication) {
  for (const auto& queue : {DispatchQueue::global(), DispatchQueue::main()})
    queue->sync([] {
      sigset_t blocked;
      pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
      for (const int signal : {SIGINT, SIGTERM, SIGCHLD, SIGUSR1, SIGPIPE})
        EXPECT_EQ(sigismember(&blocked, signal), 1);
    });
}

void tick(const std::shared_ptr<DispatchQueue>& queue) {
  queue->asyncAfter(100us, [queue] { tick(queue); });
}

TEST(DispatchDeathTest, ProcessThatStillTicksEndsCleanly) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        for (int i = 0; i < 50; ++i) tick(DispatchQueue::serial("ticking"));
        DispatchQueue::main()->sync([] {});
        std::exit(3);
      },
      testing::ExitedWithCode(3), "");
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

TEST(ManualClock, RunsWhatFallsDueWithTheTimeOfEachAction) {
  ManualClock clock(Date(1h));
  std::vector<std::chrono::nanoseconds> times;
  const std::function<void()> repeat = [&] {
    times.push_back(clock.uptime());
    clock.schedule(10ms, repeat);
  };
  clock.schedule(5ms, repeat);
  clock.schedule(0ns, [&] { times.push_back(-1ns); });
  EXPECT_EQ(times, std::vector<std::chrono::nanoseconds>{-1ns});
  clock.advance(30ms);
  EXPECT_EQ(times, (std::vector<std::chrono::nanoseconds>{-1ns, 5ms, 15ms, 25ms}));
  EXPECT_EQ(clock.uptime(), 30ms);
  EXPECT_EQ(clock.date(), Date(1h) + 30ms);
  EXPECT_EQ(clock.pending(), 1U);
}

TEST(TimerSlots, EndAtMostASixteenthLateAndTogether) {
  std::set<std::chrono::nanoseconds> ends;
  for (const auto delay : {1ns, 15ns, 16ns, 1000ns, 20'000'000ns, 1'000'000'000ns, 86'400'000'000'000ns})
    for (auto now = 0ns; now < 2s; now += 1'234'567ns) {
      const auto end = TimerSlots::endOfSlot(now, delay);
      EXPECT_GE(end, now + delay);
      EXPECT_LE(end, now + delay + delay / 16) << delay.count();
      if (delay == 1s) ends.insert(end);
    }
  // Of 1,621 that were put off in two seconds.
  EXPECT_LE(ends.size(), 61U);
  EXPECT_GT(TimerSlots::endOfSlot(1s, std::chrono::nanoseconds::max()), 1s);
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
