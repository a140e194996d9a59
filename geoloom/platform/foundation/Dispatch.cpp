#include "geoloom/platform/foundation/Dispatch.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <utility>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "geoloom/base/Mutex.h"
#include "geoloom/base/ProcessExit.h"
#include "geoloom/base/Thread.h"
#include "geoloom/base/ThreadPool.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom::platform {

namespace {

using Task = std::function<void()>;

/// Depth of this thread's BlockingScopes; only the outermost counts for the exit of the process.
thread_local int waits = 0;

/// The queue whose task this thread is running.
thread_local const DispatchQueue* runningQueue = nullptr;

void run(const DispatchQueue& queue, const Task& task) {
  const base::Work work;
  if (!work) return;
  const DispatchQueue* const outer = std::exchange(runningQueue, &queue);
  try {
    task();
  } catch (const std::exception& error) {
    SystemLog::log("A task of the queue \"" + queue.label() + "\" threw: " + error.what());
  } catch (...) {
    SystemLog::log("A task of the queue \"" + queue.label() + "\" threw something other than an exception");
  }
  runningQueue = outer;
}

/// Runs each task in a task of the pool, so that queues take turns.
class SerialQueue final : public DispatchQueue {
 public:
  explicit SerialQueue(std::string label) : label_(std::move(label)) {}

  const std::string& label() const override { return label_; }
  bool isCurrent() const override { return runningQueue == this; }

  void async(Task task) override {
    const base::MutexLock lock(mutex_);
    tasks_.push_back(std::move(task));
    if (!isBusy_) runNextSoon();
  }

 private:
  void runNextSoon() GEOLOOM_REQUIRES(mutex_) {
    isBusy_ = true;
    base::ThreadPool::shared().post([self = std::static_pointer_cast<SerialQueue>(shared_from_this())] {
      run(*self, self->takeNext());
      const base::MutexLock lock(self->mutex_);
      self->isBusy_ = false;
      if (!self->tasks_.empty()) self->runNextSoon();
    });
  }

  Task takeNext() {
    const base::MutexLock lock(mutex_);
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    return task;
  }

  const std::string label_;
  base::Mutex mutex_;
  std::deque<Task> tasks_ GEOLOOM_GUARDED_BY(mutex_);
  /// A task runs or is about to.
  bool isBusy_ GEOLOOM_GUARDED_BY(mutex_) = false;
};

class GlobalQueue final : public DispatchQueue {
 public:
  explicit GlobalQueue(std::string label) : label_(std::move(label)) {}

  const std::string& label() const override { return label_; }
  void async(Task task) override {
    base::ThreadPool::shared().post([this, task = std::move(task)] { run(*this, task); });
  }
  bool isCurrent() const override { return runningQueue == this; }

 private:
  std::string label_;
};

/// The main thread, unless the application's loop runs the main queue.
class MainThread {
 public:
  MainThread() {
    if (!base::startThread("geoloom-main", [this] { context_.run(); }))
      SystemLog::log("cannot start the thread of the main queue");
  }

  void post(Task task) { asio::post(context_, std::move(task)); }

 private:
  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> keepRunning_{context_.get_executor()};
};

class TheMainQueue final : public DispatchQueue {
 public:
  using Post = std::function<void(Task)>;

  const std::string& label() const override { return label_; }
  void async(Task task) override {
    // The posting function is set once, before the first task, and then only read.
    std::call_once(decided_, [this] { post_ = ownThread(); });
    post_([this, task = std::move(task)] { run(*this, task); });
  }
  bool isCurrent() const override { return runningQueue == this; }

  bool handOver(Post post) {
    if (!post) return false;
    bool taken = false;
    std::call_once(decided_, [this, &post, &taken] {
      post_ = std::move(post);
      taken = true;
    });
    return taken;
  }

 private:
  static Post ownThread() {
    return [thread = new MainThread](Task task) { thread->post(std::move(task)); };
  }

  std::string label_ = "com.geoloom.main-thread";
  std::once_flag decided_;
  Post post_;
};

// Never destroyed: sessions use the queue until the process ends.
const std::shared_ptr<TheMainQueue>& theMainQueue() {
  static const auto& queue = *new auto(std::make_shared<TheMainQueue>());
  return queue;
}

}  // namespace

DispatchQueue::~DispatchQueue() = default;

std::shared_ptr<DispatchQueue> DispatchQueue::serial(std::string label) {
  return std::make_shared<SerialQueue>(std::move(label));
}

std::shared_ptr<DispatchQueue> DispatchQueue::global(DispatchQoS /*qos*/) {
  static const auto& queue = *new std::shared_ptr<DispatchQueue>(std::make_shared<GlobalQueue>("global"));
  return queue;
}

std::shared_ptr<DispatchQueue> DispatchQueue::main() {
  return theMainQueue();
}

void DispatchQueue::asyncAfter(std::chrono::nanoseconds delay, Task task) {
  Clock::current()->schedule(
      delay, [self = shared_from_this(), task = std::move(task)]() mutable { self->async(std::move(task)); });
}

void DispatchQueue::sync(const Task& task) {
  // Queues run no tasks during exit: a destructor that calls `sync` then would block for ever.
  if (base::isProcessExiting()) return;
  DispatchSemaphore done(0);
  async([&task, &done] {
    // Run inside this task too, so that an exception is logged before `sync` returns.
    run(*runningQueue, task);
    done.signal();
  });
  done.wait();
}

bool MainQueue::handOver(std::function<void(Task)> post) {
  return theMainQueue()->handOver(std::move(post));
}

BlockingScope::BlockingScope() : counted_(base::ThreadPool::isPoolThread()) {
  if (counted_ && waits++ == 0) base::Work::suspend();
}

BlockingScope::~BlockingScope() {
  if (counted_ && --waits == 0) base::Work::resume();
}

struct DispatchSemaphore::State {
  base::Mutex mutex;
  std::condition_variable_any raised;
  long value GEOLOOM_GUARDED_BY(mutex);

  /// Decrements the value if it is positive.
  bool take() {
    const base::MutexLock lock(mutex);
    if (value <= 0) return false;
    --value;
    return true;
  }
};

DispatchSemaphore::DispatchSemaphore(long value) : state_(new State{{}, {}, value}) {}

DispatchSemaphore::~DispatchSemaphore() = default;

void DispatchSemaphore::wait() {
  if (state_->take()) return;
  const BlockingScope waiting;
  const base::MutexLock lock(state_->mutex);
  while (state_->value <= 0) state_->raised.wait(state_->mutex);
  --state_->value;
}

bool DispatchSemaphore::wait(std::chrono::nanoseconds timeout) {
  if (state_->take()) return true;
  // The sum with the current time must not overflow.
  timeout = std::min<std::chrono::nanoseconds>(timeout, std::chrono::hours(24 * 365));
  const BlockingScope waiting;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  const base::MutexLock lock(state_->mutex);
  while (state_->value <= 0) {
    if (state_->raised.wait_until(state_->mutex, deadline) == std::cv_status::timeout && state_->value <= 0)
      return false;
  }
  --state_->value;
  return true;
}

void DispatchSemaphore::signal() {
  // Notified under the lock: the waiter may destroy the semaphore as soon as it has the lock.
  const base::MutexLock lock(state_->mutex);
  ++state_->value;
  state_->raised.notify_one();
}

}  // namespace geoloom::platform
