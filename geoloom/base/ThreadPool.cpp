#include "geoloom/base/ThreadPool.h"

#include <algorithm>
#include <thread>
#include <utility>

#include <asio/defer.hpp>
#include <asio/post.hpp>

#include "geoloom/base/StandIn.h"
#include "geoloom/base/Thread.h"

namespace geoloom::base {

namespace {

thread_local bool poolThread = false;

/// How often another thread stands in for this one; only the outermost is counted.
thread_local int standIns = 0;

/// Threads beyond the pool's size that may stay, so that what is over soon does not start one each.
constexpr int spareThreads = 4;

/// What the batch has kept that this thread is in.
thread_local std::vector<ThreadPool::Task>* keptTasks = nullptr;

}  // namespace

ThreadPool::Batch::Batch() {
  if (!keptTasks) keptTasks = &tasks_;
}

ThreadPool::Batch::~Batch() {
  if (keptTasks == &tasks_) end();
}

void ThreadPool::Batch::end() noexcept {
  if (auto* const kept = std::exchange(keptTasks, nullptr)) shared().postTogether(std::move(*kept));
}

ThreadPool& ThreadPool::shared() {
  static ThreadPool& pool = *new ThreadPool;
  return pool;
}

bool ThreadPool::isPoolThread() {
  return poolThread;
}

ThreadPool::ThreadPool() : size_(std::max(2, static_cast<int>(std::thread::hardware_concurrency()))) {
  for (int i = 0; i < size_; ++i) addThread();
}

void ThreadPool::post(Task task) {
  if (keptTasks)
    keptTasks->push_back(std::move(task));
  else
    asio::post(context_, std::move(task));
}

void ThreadPool::postTogether(std::vector<Task> tasks) noexcept {
  if (tasks.size() < 2) {
    for (Task& task : tasks) post(std::move(task));
    return;
  }
  // Tasks that are deferred wake nobody up. The thread that defers these goes on with its next task, and
  // where it leaves some it calls another thread, once.
  asio::post(context_, [this, tasks = std::move(tasks)]() mutable {
    for (Task& task : tasks) asio::defer(context_, std::move(task));
  });
}

void ThreadPool::addThread() {
  active_.fetch_add(1);
  // Where the system has no thread left, what waits goes on waiting and the others run a little later.
  if (!startThread("geoloom-queue", [this] { work(); })) active_.fetch_sub(1);
}

void ThreadPool::work() {
  poolThread = true;
  do {
    context_.run_one();
    // A thread too many goes only when there is nothing to do: the others may all be busy for long.
    while (isTooMany(active_) && context_.poll_one() > 0) {
    }
  } while (!retire());
}

bool ThreadPool::isTooMany(int active) const {
  return active > size_ + spareThreads;
}

bool ThreadPool::retire() {
  int active = active_.load();
  while (isTooMany(active)) {
    if (active_.compare_exchange_weak(active, active - 1)) return true;
  }
  return false;
}

StandIn::StandIn() {
  if (!poolThread || standIns++ > 0) return;
  ThreadPool& pool = ThreadPool::shared();
  if (pool.active_.fetch_sub(1) <= pool.size_) pool.addThread();
}

StandIn::~StandIn() {
  if (poolThread && --standIns == 0) ThreadPool::shared().active_.fetch_add(1);
}

}  // namespace geoloom::base
