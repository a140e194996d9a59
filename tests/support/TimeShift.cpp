#include "tests/support/TimeShift.h"

#include <atomic>

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace {

std::atomic<std::chrono::seconds::rep> shiftedSeconds{0};

}  // namespace

namespace geoloom::test {

void shiftTime(std::chrono::seconds by) {
  shiftedSeconds += by.count();
}

}  // namespace geoloom::test

/// Replaces the C library's function for the program and all libraries that it loads.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    struct timespec* time) noexcept {
  const long failed = ::syscall(SYS_clock_gettime, clock, time);
  if (failed == 0 && clock == CLOCK_MONOTONIC) time->tv_sec += shiftedSeconds;
  return static_cast<int>(failed);
}
