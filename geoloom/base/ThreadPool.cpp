#include "geoloom/base/ThreadPool.h"

#include <algorithm>
#include <thread>
#include <utility>

#include <asio/post.hpp>

#include "geoloom/base/ExtraPoolThread.h"
#include "geoloom/base/Thread.h"

namespace geoloom::base {

namespace {

thread_local bool poolThread = false;

/// Depth of this thread's ExtraPoolThreads; only the outermost counts.
thread_local int replacements = 0;

/// Threads beyond the pool's size that may stay, so that short waits do not start a thread each.
constexpr int SPARE_THREADS = 4;

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

void ThreadPool::post(std::function<void()> task) {
  asio::post(context_, std::move(task));
}

void ThreadPool::addThread() {
  active_.fetch_add(1);
  // If the system cannot create a thread, the tasks wait for the existing ones.
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
  while (active > size_ + SPARE_THREADS)
    if (active_.compare_exchange_weak(active, active - 1)) return true;
  return false;
}

ExtraPoolThread::ExtraPoolThread() {
  if (!poolThread || replacements++ > 0) return;
  ThreadPool& pool = ThreadPool::shared();
  if (pool.active_.fetch_sub(1) <= pool.size_) pool.addThread();
}

ExtraPoolThread::~ExtraPoolThread() {
  if (poolThread && --replacements == 0) ThreadPool::shared().active_.fetch_add(1);
}

}  // namespace geoloom::base
