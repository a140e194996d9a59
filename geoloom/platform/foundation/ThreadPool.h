#pragma once

#include <atomic>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

namespace geoloom::platform {

/// The threads behind all queues and timers. A task that says it waits (BlockingScope) is replaced by another
/// thread for that long, so the number of threads that can run never falls below the pool's size.
class ThreadPool {
 public:
  using Executor = asio::io_context::executor_type;

  /// Started at first use, never destroyed: tasks run until the process ends.
  static ThreadPool& shared();
  static bool isPoolThread();

  Executor executor() { return context_.get_executor(); }
  asio::io_context& context() { return context_; }

  /// On a thread of the pool, in pairs, which may be nested.
  void beginWait();
  void endWait();

 private:
  ThreadPool();
  void addThread();
  void work();
  /// True, and the calling thread no longer counted, when more threads than wanted can run.
  bool retire();

  asio::io_context context_;
  asio::executor_work_guard<Executor> keepRunning_{context_.get_executor()};
  const int size_;
  /// Threads that run or look for a task; those in a wait are not counted.
  std::atomic<int> active_{0};
};

}  // namespace geoloom::platform
