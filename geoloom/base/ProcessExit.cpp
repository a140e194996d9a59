#include "geoloom/base/ProcessExit.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <utility>

#include <unistd.h>

#include "geoloom/base/Mutex.h"

namespace geoloom::base {

namespace {

constexpr std::chrono::seconds PATIENCE{2};

/// Depth of this thread's Work; only the outermost counts.
thread_local int depth = 0;

struct State {
  Mutex mutex;
  std::condition_variable_any ended;
  bool isExiting GEOLOOM_GUARDED_BY(mutex) = false;
  std::chrono::steady_clock::time_point deadline GEOLOOM_GUARDED_BY(mutex);
  int working GEOLOOM_GUARDED_BY(mutex) = 0;

  bool begin() {
    const MutexLock lock(mutex);
    if (isExiting) return false;
    ++working;
    return true;
  }

  void end() {
    const MutexLock lock(mutex);
    --working;
    if (isExiting) ended.notify_all();
  }

  /// `own` is the exiting thread's own work: a callback may call exit.
  void rest(int own) {
    const MutexLock lock(mutex);
    // The handler runs once per library; all share one deadline.
    if (!std::exchange(isExiting, true)) deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (working > own)
      if (ended.wait_until(mutex, deadline) == std::cv_status::timeout) return;
  }
};

State& state() {
  static State& state = *new State;
  return state;
}

}  // namespace

Work::Work() : begun_(depth > 0 || state().begin()) {
  if (begun_) ++depth;
}

Work::~Work() {
  if (begun_ && --depth == 0) state().end();
}

void Work::suspend() {
  if (depth > 0) state().end();
}

void Work::resume() {
  if (depth > 0 && !state().begin()) parkThread();
}

bool isProcessExiting() {
  const MutexLock lock(state().mutex);
  return state().isExiting;
}

void restAtExit() {
  // A forked child does not have the threads.
  static const pid_t owner = ::getpid();
  // If registration fails, the process exits without waiting.
  static_cast<void>(std::atexit([] {
    if (::getpid() == owner) state().rest(depth > 0 ? 1 : 0);
  }));
}

void parkThread() {
  while (true) ::pause();
}

}  // namespace geoloom::base
