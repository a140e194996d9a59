#include "geoloom/platform/foundation/Dispatch.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <utility>

#include <asio/post.hpp>
#include <asio/strand.hpp>

#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/foundation/Mutex.h"
#include "geoloom/platform/foundation/ProcessExit.h"
#include "geoloom/platform/foundation/Thread.h"
#include "geoloom/platform/foundation/ThreadPool.h"

namespace geoloom::platform {

namespace {

using Task = std::function<void()>;

/// The queue whose task this thread is running.
thread_local const DispatchQueue* runningQueue = nullptr;

void run(const DispatchQueue& queue, const Task& task) {
  const Work work;
  if (!work) return;
  const DispatchQueue* const outer = std::exchange(runningQueue, &queue);
  try {
    task();
  } catch (const std::exception& error) {
    SystemLog::log("A task of the queue \"" + queue.label() + "\" threw: " + error.what());
  } catch (...) {
    SystemLog::log("A task of the queue \"" + queue.label() + "\" threw something that is no exception");
  }
  runningQueue = outer;
}

class SerialQueue final : public DispatchQueue {
 public:
  explicit SerialQueue(std::string label)
      : label_(std::move(label)), strand_(ThreadPool::shared().executor()) {}

  const std::string& label() const override { return label_; }
  void async(Task task) override {
    asio::post(strand_, [self = shared_from_this(), task = std::move(task)] { run(*self, task); });
  }
  bool isCurrent() const override { return runningQueue == this; }

 private:
  std::string label_;
  asio::strand<ThreadPool::Executor> strand_;
};

class GlobalQueue final : public DispatchQueue {
 public:
  explicit GlobalQueue(std::string label) : label_(std::move(label)) {}

  const std::string& label() const override { return label_; }
  void async(Task task) override {
    asio::post(ThreadPool::shared().executor(), [this, task = std::move(task)] { run(*this, task); });
  }
  bool isCurrent() const override { return runningQueue == this; }

 private:
  std::string label_;
};

/// The main thread where the application has not given us its own.
class MainThread {
 public:
  MainThread() {
    if (!startThread("geoloom-main", [this] { loop(); })) SystemLog::log("The main queue has no thread");
  }

  void post(Task task) {
    {
      const MutexLock lock(mutex_);
      tasks_.push_back(std::move(task));
    }
    arrived_.notify_one();
  }

 private:
  void loop() {
    for (;;) {
      Task task;
      {
        const MutexLock lock(mutex_);
        while (tasks_.empty()) arrived_.wait(mutex_);
        task = std::move(tasks_.front());
        tasks_.pop_front();
      }
      task();
    }
  }

  Mutex mutex_;
  std::condition_variable_any arrived_;
  std::deque<Task> tasks_ GEOLOOM_GUARDED_BY(mutex_);
};

class TheMainQueue final : public DispatchQueue {
 public:
  using Post = std::function<void(Task)>;

  const std::string& label() const override { return label_; }
  void async(Task task) override {
    // The posting function is set once, before the first task; from then on it is only read.
    std::call_once(decided_, [this] { post_ = ownThread(); });
    post_([this, task = std::move(task)] { run(*this, task); });
  }
  bool isCurrent() const override { return runningQueue == this; }

  bool handOver(Post post) {
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

// Queues outlive the statics of the process: sessions tick until the very end.
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
  // A destructor that runs at exit would wait for a task that is never run.
  if (isProcessExiting()) return;
  DispatchSemaphore done(0);
  async([this, &task, &done] {
    run(*this, task);
    done.signal();
  });
  done.wait();
}

bool MainQueue::handOver(std::function<void(Task)> post) {
  return theMainQueue()->handOver(std::move(post));
}

BlockingScope::BlockingScope() : counted_(ThreadPool::isPoolThread()) {
  if (counted_) ThreadPool::shared().beginWait();
}

BlockingScope::~BlockingScope() {
  if (counted_) ThreadPool::shared().endWait();
}

struct DispatchSemaphore::State {
  Mutex mutex;
  std::condition_variable_any raised;
  long value GEOLOOM_GUARDED_BY(mutex);

  /// Takes one without waiting.
  bool take() {
    const MutexLock lock(mutex);
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
  const MutexLock lock(state_->mutex);
  while (state_->value <= 0) state_->raised.wait(state_->mutex);
  --state_->value;
}

bool DispatchSemaphore::wait(std::chrono::nanoseconds timeout) {
  if (state_->take()) return true;
  // Beyond this the sum with the present time overflows.
  timeout = std::min<std::chrono::nanoseconds>(timeout, std::chrono::hours(24 * 365));
  const BlockingScope waiting;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  const MutexLock lock(state_->mutex);
  while (state_->value <= 0) {
    if (state_->raised.wait_until(state_->mutex, deadline) == std::cv_status::timeout && state_->value <= 0)
      return false;
  }
  --state_->value;
  return true;
}

void DispatchSemaphore::signal() {
  // Notified under the lock: a waiter may destroy the semaphore as soon as it gets through.
  const MutexLock lock(state_->mutex);
  ++state_->value;
  state_->raised.notify_one();
}

}  // namespace geoloom::platform
