#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "geoloom/base/ExtraPoolThread.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom {

/// Runs a callback of the application unless it is empty. The callback may block without delaying other
/// queues: another thread of the pool takes the place of the calling one. An exception that leaves the
/// callback becomes a line in the system log with its name.
template <class Callback, class... Arguments>
void callApplication(std::string_view name, const Callback& callback, Arguments&&... arguments) {
  if (!callback) return;
  const auto report = [name](std::string_view what) {
    platform::SystemLog::log(
        std::string("exception out of the ").append(name).append(" callback: ").append(what));
  };
  const base::ExtraPoolThread extraThread;
  try {
    callback(std::forward<Arguments>(arguments)...);
  } catch (const std::exception& exception) {
    report(exception.what());
  } catch (...) {
    report("not a std::exception");
  }
}

}  // namespace geoloom
