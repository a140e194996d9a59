#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "geoloom/Export.h"
#include "geoloom/base/ExtraPoolThread.h"

namespace geoloom::platform {

enum class DispatchQoS { unspecified, background, utility, standard, userInitiated, userInteractive };

/// A queue of tasks. Serial queues and the main queue run one task at a time, in the order submitted; global
/// queues run tasks concurrently. Serial and global queues share one pool of threads that grows while tasks
/// block (BlockingScope), so that a blocked task never delays another queue. The quality of service has no
/// effect.
///
/// Queues may be used from any thread; a queue lives at least until its last task has run. An exception that
/// leaves a task is logged and swallowed. The pool starts with the first task and lives until the process
/// ends. Process exit (by exit, or by a return from main) waits for running tasks, two seconds at most, and
/// starts no other task.
class GEOLOOM_EXPORT DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  virtual ~DispatchQueue();

  [[nodiscard]] static std::shared_ptr<DispatchQueue> serial(std::string label);
  [[nodiscard]] static std::shared_ptr<DispatchQueue> global(DispatchQoS qos = DispatchQoS::standard);

  /// The queue of the main thread: a thread of its own, unless the application handed it over (MainQueue).
  [[nodiscard]] static std::shared_ptr<DispatchQueue> main();

  [[nodiscard]] virtual const std::string& label() const = 0;

  /// Runs `task` soon; returns at once.
  virtual void async(std::function<void()> task) = 0;

  /// Runs `task` once `delay` has passed on the clock that is current now.
  void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> task);

  /// Runs `task` and returns when it has run. During process exit it returns at once, without running it.
  /// Must not be called from a task of the same serial queue: it would deadlock.
  void sync(const std::function<void()>& task);

  /// True on a thread that is running a task of this queue.
  [[nodiscard]] virtual bool isCurrent() const = 0;
};

/// Lets the application's own loop run the main queue.
class GEOLOOM_EXPORT MainQueue {
 public:
  /// `post` takes a task from any thread and arranges for it to run on the application's main thread, in
  /// order. It must neither run the task itself nor throw. Call before the first use of the main queue;
  /// returns false, without effect, if the queue is already in use or `post` is empty.
  static bool handOver(std::function<void(std::function<void()>)> post);
};

/// Marks a scope in which the calling task blocks. The pool of the queues replaces the thread meanwhile, and
/// process exit does not wait for it; on other threads the scope has no effect. The destructor does not
/// return during process exit. DispatchSemaphore, `sync` and NSLock use it themselves.
class GEOLOOM_EXPORT BlockingScope {
 public:
  BlockingScope();
  ~BlockingScope();
  BlockingScope(const BlockingScope&) = delete;
  BlockingScope& operator=(const BlockingScope&) = delete;

 private:
  const base::ExtraPoolThread extraThread_;
  const bool counted_;
};

/// A counting semaphore; waiting is a BlockingScope.
class GEOLOOM_EXPORT DispatchSemaphore {
 public:
  explicit DispatchSemaphore(long value);
  ~DispatchSemaphore();

  void wait();
  /// False if `timeout` (real time) passes first.
  [[nodiscard]] bool wait(std::chrono::nanoseconds timeout);
  void signal();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace geoloom::platform
