#pragma once

#include <functional>

namespace geoloom::base {

/// Starts a detached thread that runs until `run` returns or the process ends. It blocks all signals but
/// those of a fault: an application's handlers run on its own threads. Debuggers show the name, at most 15
/// characters. False if the system has no thread or no memory left.
[[nodiscard]] bool startThread(const char* name, std::function<void()> run);

}  // namespace geoloom::base
