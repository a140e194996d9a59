#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>

#include "geoloom/base/Mutex.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/foundation/NSLock.h"

namespace geoloom::platform {
namespace {

using namespace std::chrono_literals;

std::ptrdiff_t threadCount() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

/// Lets a task of each queue wait at the same time, every second one in a nested wait, until all have begun
/// and `meanwhile` has returned.
void waitTogether(
    const std::vector<std::shared_ptr<DispatchQueue>>& queues,
    const std::function<void()>& meanwhile = [] {}) {
  DispatchSemaphore gate(0);
  DispatchSemaphore arrived(0);
  DispatchSemaphore left(0);
  for (std::size_t i = 0; i < queues.size(); ++i)
    queues[i]->async([&, i] {
      {
        std::optional<BlockingScope> outer;
        if (i % 2 == 0) outer.emplace();
        arrived.signal();
        gate.wait();
      }
      left.signal();
    });
  for (std::size_t i = 0; i < queues.size(); ++i) ASSERT_TRUE(arrived.wait(30s));
  meanwhile();
  for (std::size_t i = 0; i < queues.size(); ++i) gate.signal();
  for (std::size_t i = 0; i < queues.size(); ++i) ASSERT_TRUE(left.wait(30s));
}

TEST(Dispatch, BlockedTasksDelayNoOtherQueue) {
  std::vector<std::shared_ptr<DispatchQueue>> queues;
  for (int i = 0; i < 200; ++i) queues.push_back(DispatchQueue::serial("waiting"));
  waitTogether(queues, [] {
    bool ran = false;
    DispatchQueue::serial("free")->sync([&] { ran = true; });
    DispatchQueue::global()->sync([&] { EXPECT_TRUE(ran); });
  });
}

TEST(Dispatch, TasksBlockedOnALockDelayNoOtherQueue) {
  NSLock lock;
  DispatchSemaphore ended(0);
  constexpr int WAITING = 20;
  {
    const std::lock_guard held(lock);
    for (int i = 0; i < WAITING; ++i)
      DispatchQueue::global()->async([&] {
        { const std::lock_guard waited(lock); }
        ended.signal();
      });
    bool ran = false;
    DispatchQueue::serial("free")->sync([&] { ran = true; });
    EXPECT_TRUE(ran);
  }
  for (int i = 0; i < WAITING; ++i) ended.wait();
}

TEST(Dispatch, ReplacementThreadsEnd) {
  for (int i = 0; i < 20; ++i) waitTogether({50, DispatchQueue::global()});
  // The threads of one round and some that are ending.
  EXPECT_LE(threadCount(), 150);
}

TEST(Dispatch, SerialQueueRunsOneTaskAtATimeInOrder) {
  constexpr int CALLERS = 4;
  constexpr int TASKS = 500;
  const auto queue = DispatchQueue::serial("one at a time");
  // Read and written without a lock: the queue orders the tasks.
  std::vector<std::vector<int>> seen(CALLERS);
  int running = 0;
  std::vector<std::thread> threads;
  for (int caller = 0; caller < CALLERS; ++caller)
    threads.emplace_back([&, caller] {
      for (int i = 0; i < TASKS; ++i)
        queue->async([&, caller, i] {
          EXPECT_EQ(++running, 1);
          seen[static_cast<std::size_t>(caller)].push_back(i);
          --running;
        });
    });
  for (std::thread& thread : threads) thread.join();
  queue->sync([&] { EXPECT_TRUE(queue->isCurrent()); });
  EXPECT_FALSE(queue->isCurrent());
  for (const std::vector<int>& order : seen) {
    EXPECT_EQ(order.size(), static_cast<std::size_t>(TASKS));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  }
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

TEST(Dispatch, ThreadsBlockAllSignalsButFaults) {
  for (const auto& queue : {DispatchQueue::global(), DispatchQueue::main()})
    queue->sync([] {
      sigset_t blocked;
      pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
      for (const int signal : {SIGINT, SIGTERM, SIGCHLD, SIGUSR1, SIGPIPE})
        EXPECT_EQ(sigismember(&blocked, signal), 1);
      for (const int fault : {SIGSEGV, SIGFPE, SIGABRT}) EXPECT_EQ(sigismember(&blocked, fault), 0);
    });
}

void tick(const std::shared_ptr<DispatchQueue>& queue) {
  queue->asyncAfter(100us, [queue] { tick(queue); });
}

TEST(DispatchDeathTest, ProcessWithRunningTimersExits) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        for (int i = 0; i < 50; ++i) tick(DispatchQueue::serial("ticking"));
        DispatchQueue::main()->sync([] {});
        std::exit(3);
      },
      testing::ExitedWithCode(3), "");
}

TEST(Dispatch, LogsExceptionsAndContinues) {
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

TEST(Dispatch, TimersFollowTheManualClock) {
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

TEST(ManualClock, RunsEachActionAtItsOwnTime) {
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

  bool ran = false;
  clock.schedule(std::chrono::nanoseconds::max(), [&] { ran = true; });
  clock.advance(1h);
  EXPECT_FALSE(ran);
}

TEST(Clock, CurrentMayBeReadWhileAClockIsReplaced) {
  const auto asks = [] { return std::shared_ptr<void>(nullptr, [](void*) { (void)Clock::current(); }); };
  Clock::install(std::make_shared<ManualClock>());
  Clock::current()->schedule(1s, [held = asks()] {});
  Clock::install(nullptr);
}

TEST(Dispatch, SystemTimersFire) {
  DispatchSemaphore fired(0);
  const auto before = Clock::current()->uptime();
  DispatchQueue::serial("timer")->asyncAfter(20ms, [&] { fired.signal(); });
  Clock::current()->schedule(std::chrono::nanoseconds::max(), [] {});
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

TEST(Dispatch, MainQueueRunsOnTheApplicationsLoop) {
  base::Mutex mutex;
  std::vector<std::function<void()>> loop;
  DispatchSemaphore posted(0);
  const auto other = DispatchQueue::serial("other");
  EXPECT_FALSE(MainQueue::handOver({}));
  ASSERT_TRUE(MainQueue::handOver([&](std::function<void()> task) {
    // It may wait for another queue.
    std::promise<void> told;
    other->async([&told] { told.set_value(); });
    told.get_future().wait();
    const base::MutexLock lock(mutex);
    loop.push_back(std::move(task));
    posted.signal();
  }));
  std::thread::id ranOn;
  DispatchQueue::main()->async([&] { ranOn = std::this_thread::get_id(); });
  DispatchQueue::main()->asyncAfter(10ms, [] {});
  for (int i = 0; i < 2; ++i) ASSERT_TRUE(posted.wait(30s));
  ASSERT_EQ(loop.size(), 2U);
  loop.front()();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(NSLock, MayBeReleasedOnAnotherThread) {
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
