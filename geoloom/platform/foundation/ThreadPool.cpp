#include "geoloom/platform/foundation/ThreadPool.h"

#include <algorithm>
#include <thread>

#include "geoloom/platform/foundation/ProcessExit.h"
#include "geoloom/platform/foundation/Thread.h"

namespace geoloom::platform {

namespace {

thread_local bool poolThread = false;

/// Depth of the waits that the thread's task is in; only the outermost is counted.
thread_local int waits = 0;

/// Threads beyond the pool's size that may stay after a wait, so that short waits do not start one each.
constexpr int spareThreads = 4;

}  // namespace

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

void ThreadPool::addThread() {
  active_.fetch_add(1);
  // Where the system has no thread left, what waits goes on waiting and the others run a little later.
  if (!startThread("geoloom-queue", [this] { work(); })) active_.fetch_sub(1);
}

void ThreadPool::work() {
  poolThread = true;
  do {
    context_.run_one();
  } while (!retire());
}

bool ThreadPool::retire() {
  int active = active_.load();
  while (active > size_ + spareThreads) {
    if (active_.compare_exchange_weak(active, active - 1)) return true;
  }
  return false;
}

void ThreadPool::beginWait() {
  if (waits++ > 0) return;
  if (active_.fetch_sub(1) <= size_) addThread();
  Work::suspend();
}

void ThreadPool::endWait() {
  if (--waits > 0) return;
  Work::resume();
  active_.fetch_add(1);
}

}  // namespace geoloom::platform
