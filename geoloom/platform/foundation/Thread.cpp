#include "geoloom/platform/foundation/Thread.h"

#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include <pthread.h>

namespace geoloom::platform {

bool startThread(const char* name, std::function<void()> run) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  // A thread inherits the mask of the one that starts it.
  pthread_sigmask(SIG_SETMASK, &all, &before);
  bool started = true;
  try {
    std::thread thread(std::move(run));
    pthread_setname_np(thread.native_handle(), name);
    thread.detach();
  } catch (const std::system_error&) {
    started = false;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return started;
}

}  // namespace geoloom::platform
