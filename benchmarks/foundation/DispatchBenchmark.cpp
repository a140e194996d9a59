// The delay before a task runs on an idle machine, compared with the usual alternatives.

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include <asio/post.hpp>
#include <asio/strand.hpp>
#include <asio/thread_pool.hpp>
#include <benchmark/benchmark.h>

#include "geoloom/platform/foundation/Dispatch.h"

namespace {

using geoloom::platform::DispatchQueue;

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
  constexpr int TASKS = 10'000;
  for (auto _ : state) {
    std::promise<void> last;
    int ran = 0;
    for (int i = 0; i < TASKS; ++i)
      post([&] {
        if (++ran == TASKS) last.set_value();
      });
    last.get_future().wait();
  }
  state.SetItemsProcessed(state.iterations() * TASKS);
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

}  // namespace
