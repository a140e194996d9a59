#pragma once

#include <atomic>
#include <functional>
#include <vector>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

namespace geoloom::base {

/// The threads behind all queues and timers. For a task that waits (BlockingScope) or runs what is not ours
/// another thread stands in, so the number of threads that can run never falls below the pool's size.
class ThreadPool {
 public:
  using Task = std::function<void()>;

  /// While it lives, what its thread posts is kept, and then handed over at once. Otherwise each post wakes a
  /// thread up, which takes the processor from the one that posts, for a single task every time. Around short
  /// work that waits for nothing, unless in a BlockingScope. One inside another is part of the outer one.
  class Batch {
   public:
    Batch();
    ~Batch();
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    /// Ends the calling thread's batch early: before a wait, and before a call of what is not ours, which may
    /// wait.
    static void end() noexcept;

   private:
    std::vector<Task> tasks_;
  };

  /// Started at first use, never destroyed: tasks run until the process ends.
  static ThreadPool& shared();
  static bool isPoolThread();

  /// Where timers are.
  asio::io_context& context() { return context_; }

  /// Runs `task` soon, on a thread of the pool. From any thread.
  void post(Task task);

 private:
  friend class StandIn;

  ThreadPool();
  /// Whoever posted them counts on them by now: without the memory for it, the process ends.
  void postTogether(std::vector<Task> tasks) noexcept;
  void addThread();
  void work();
  [[nodiscard]] bool isTooMany(int active) const;
  /// True, and the calling thread no longer counted, when more threads than wanted can run.
  bool retire();

  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> keepRunning_{context_.get_executor()};
  const int size_;
  /// Threads that run or look for a task; those that another one stands in for are not counted.
  std::atomic<int> active_{0};
};

}  // namespace geoloom::base
