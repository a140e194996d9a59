#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "geoloom/Export.h"
#include "geoloom/base/ExtraPoolThread.h"

namespace geoloom::platform {

enum class DispatchQoS { unspecified, background, utility, standard, userInitiated, userInteractive };

/// A queue of tasks. Serial queues and the main queue run one task at a time, in the order given; global
/// queues run theirs concurrently. Serial and global queues share one pool of threads that grows while tasks
/// block (BlockingScope), so that a blocked task never delays another queue. The quality of service is only a
/// label here.
///
/// Queues may be used from any thread; a queue lives at least until its last task has run. An exception that
/// leaves a task is logged and swallowed. The pool starts with the first task and lives until the process
/// ends. While the process exits (by exit, or by a return from main), running tasks are waited for, two
/// seconds at most, and no other task is run.
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

  /// Runs `task` and returns when it has run. While the process exits it returns at once, without running it.
  /// Must not be called from a task of the same serial queue.
  void sync(const std::function<void()>& task);

  /// True on a thread that is running a task of this queue.
  [[nodiscard]] virtual bool isCurrent() const = 0;
};

/// Hands the main queue to an application's own loop.
class GEOLOOM_EXPORT MainQueue {
 public:
  /// `post` takes a task from any thread and arranges for it to run on the application's main thread, in
  /// order. It must not run the task itself, nor throw. Set before the first use of the main queue; returns
  /// false, and changes nothing, when the queue is already in use or `post` is empty.
  static bool handOver(std::function<void(std::function<void()>)> post);
};

/// Marks a scope in which the calling task blocks. On a thread of the queues' pool, another thread takes its
/// place meanwhile, and the exit of the process does not wait for it; elsewhere it does nothing. The
/// destructor does not return while the process exits. DispatchSemaphore, `sync` and NSLock use it
/// themselves.
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
  /// False when `timeout` (real time) passed first.
  [[nodiscard]] bool wait(std::chrono::nanoseconds timeout);
  void signal();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace geoloom::platform
