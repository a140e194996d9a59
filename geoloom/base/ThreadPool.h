#pragma once

#include <atomic>
#include <functional>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

namespace geoloom::base {

/// The threads of all queues and timers. While a task waits or runs application code, the pool replaces its
/// thread (ExtraPoolThread), so that the number of threads that can run never falls below the pool's size.
class ThreadPool {
 public:
  /// Started at first use, never destroyed: tasks run until the process ends.
  static ThreadPool& shared();
  static bool isPoolThread();

  /// Runs the timers.
  asio::io_context& context() { return context_; }

  /// Runs `task` soon, on a thread of the pool. From any thread.
  void post(std::function<void()> task);

 private:
  friend class ExtraPoolThread;

  ThreadPool();
  void addThread();
  void work();
  /// Stops counting the calling thread and returns true if more threads can run than are wanted.
  bool retire();

  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> keepRunning_{context_.get_executor()};
  const int size_;
  /// Threads that run or wait for a task, without those that another one replaces.
  std::atomic<int> active_{0};
};

}  // namespace geoloom::base
