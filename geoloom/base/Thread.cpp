#include "geoloom/base/Thread.h"

#include <csignal>
#include <exception>
#include <thread>
#include <utility>

#include <pthread.h>

namespace geoloom::base {

bool startThread(const char* name, std::function<void()> run) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  // A crash handler must run on the faulting thread.
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&all, fault);
  // The new thread inherits this mask.
  pthread_sigmask(SIG_SETMASK, &all, &before);
  bool started = true;
  try {
    std::thread thread(std::move(run));
    pthread_setname_np(thread.native_handle(), name);
    thread.detach();
  } catch (const std::exception&) {  // no further threads, or no memory for one
    started = false;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return started;
}

}  // namespace geoloom::base
