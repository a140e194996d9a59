#pragma once

#include <chrono>
#include <functional>

namespace geoloom::localcloud {

/// The service's wall clock; called from any thread.
using Now = std::function<std::chrono::system_clock::time_point()>;

[[nodiscard]] inline double secondsSince1970(std::chrono::system_clock::time_point time) {
  return std::chrono::duration<double>(time.time_since_epoch()).count();
}

}  // namespace geoloom::localcloud
