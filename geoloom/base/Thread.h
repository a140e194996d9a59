#pragma once

#include <functional>

namespace geoloom::base {

/// Starts a thread of the library's own that runs until the process ends (or `run` returns). It blocks all
/// signals but those of a fault: an application's handlers run on its own threads. The name is what debuggers
/// show, at most 15 characters. False where the system has no thread or no memory left.
[[nodiscard]] bool startThread(const char* name, std::function<void()> run);

}  // namespace geoloom::base
