// How long a task waits to be run on an idle machine, and what idle sessions cost, beside what one would
// write instead.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <asio/post.hpp>
#include <asio/strand.hpp>
#include <asio/thread_pool.hpp>
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "geoloom/platform/foundation/Dispatch.h"

namespace {

using geoloom::platform::DispatchQueue;
using namespace std::chrono_literals;

/// Posts one task at a time and waits until it has run.
template <class Post>
void postAndWait(benchmark::State& state, const Post& post) {
  std::mutex mutex;
  std::condition_variable changed;
  for (auto _ : state) {
    bool ran = false;
    post([&] {
      const std::lock_guard lock(mutex);
      ran = true;
      changed.notify_one();
    });
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return ran; });
  }
}

/// Posts many tasks, then waits for the last.
template <class Post>
void postMany(benchmark::State& state, const Post& post) {
  constexpr int tasks = 10'000;
  for (auto _ : state) {
    std::promise<void> last;
    int ran = 0;
    for (int i = 0; i < tasks; ++i)
      post([&] {
        if (++ran == tasks) last.set_value();
      });
    last.get_future().wait();
  }
  state.SetItemsProcessed(state.iterations() * tasks);
}

void serialQueueLatency(benchmark::State& state) {
  const auto queue = DispatchQueue::serial("benchmark");
  postAndWait(state, [&](auto task) { queue->async(std::move(task)); });
}
BENCHMARK(serialQueueLatency)->UseRealTime();

void asioStrandLatency(benchmark::State& state) {
  asio::thread_pool pool(2);
  auto strand = asio::make_strand(pool);
  postAndWait(state, [&](auto task) { asio::post(strand, std::move(task)); });
}
BENCHMARK(asioStrandLatency)->UseRealTime();

void threadPerTaskLatency(benchmark::State& state) {
  postAndWait(state, [](auto task) { std::thread(std::move(task)).join(); });
}
BENCHMARK(threadPerTaskLatency)->UseRealTime();

void serialQueueThroughput(benchmark::State& state) {
  const auto queue = DispatchQueue::serial("benchmark");
  postMany(state, [&](auto task) { queue->async(std::move(task)); });
}
BENCHMARK(serialQueueThroughput)->UseRealTime();

void asioStrandThroughput(benchmark::State& state) {
  asio::thread_pool pool(2);
  auto strand = asio::make_strand(pool);
  postMany(state, [&](auto task) { asio::post(strand, std::move(task)); });
}
BENCHMARK(asioStrandThroughput)->UseRealTime();

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMegabytes() {
  std::ifstream statm("/proc/self/statm");
  double total = 0;
  double resident = 0;
  statm >> total >> resident;
  return resident * 4096 / 1e6;
}

/// What everything that is running costs while nothing is asked of it, as a share of one core.
void watchIdle(benchmark::State& state, double residentBefore) {
  for (auto _ : state) {
    const double before = processorSeconds();
    constexpr std::chrono::seconds watched{5};
    std::this_thread::sleep_for(watched);
    state.counters["core_percent"] =
        100 * (processorSeconds() - before) / std::chrono::duration<double>(watched).count();
  }
  state.counters["added_MB"] = residentMegabytes() - residentBefore;
}

constexpr int sessions = 1000;

void everySecond(const std::shared_ptr<DispatchQueue>& queue,
                 const std::shared_ptr<std::atomic<bool>>& stop) {
  queue->asyncAfter(1s, [queue, stop] {
    if (!*stop) everySecond(queue, stop);
  });
}

/// One serial queue a session, with a task every second, all out of step.
void idleSessions(benchmark::State& state) {
  const double before = residentMegabytes();
  const auto stop = std::make_shared<std::atomic<bool>>(false);
  for (int i = 0; i < sessions; ++i) {
    everySecond(DispatchQueue::serial("idle"), stop);
    std::this_thread::sleep_for(1ms);
  }
  watchIdle(state, before);
  *stop = true;
  std::this_thread::sleep_for(1100ms);
}
BENCHMARK(idleSessions)->Iterations(1)->UseRealTime();

void idleThreads(benchmark::State& state) {
  const double before = residentMegabytes();
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < sessions; ++i) {
    threads.emplace_back([&] {
      while (!stop) std::this_thread::sleep_for(1s);
    });
    std::this_thread::sleep_for(1ms);
  }
  watchIdle(state, before);
  stop = true;
  for (std::thread& thread : threads) thread.join();
}
BENCHMARK(idleThreads)->Iterations(1)->UseRealTime();

}  // namespace
