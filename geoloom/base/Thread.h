#pragma once

#include <functional>

namespace geoloom::base {

/// Starts a detached thread that runs until `run` returns or the process ends. It blocks all signals except
/// those of faults, so that an application's handlers run on the application's threads. Debuggers show the
/// name, at most 15 characters. False if the system cannot create another thread.
[[nodiscard]] bool startThread(const char* name, std::function<void()> run);

}  // namespace geoloom::base
