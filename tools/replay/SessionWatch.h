#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/base/Mutex.h"
#include "geoloom/session/types/MapAsset.h"
#include "geoloom/session/types/MapStatus.h"

namespace geoloom::tools {

/// What a session has told so far, gathered from its threads, so that a replay can wait for it.
class SessionWatch {
 public:
  struct Told {
    std::optional<MapStatus> status;
    std::string refusal;  ///< why the service did not open the session, in its words
    std::optional<bool> placed;
    std::size_t assetLists = 0;
    std::size_t rowsExpected = 0;  ///< objects that were confident enough to be saved
    std::size_t rowsSaved = 0;
    std::size_t rowsFailed = 0;
    std::string rowFailure;  ///< the last one
    std::size_t localizationsAsked = 0;
    std::size_t localizationsAnswered = 0;
    std::size_t ticks = 0;  ///< of the session's loop that were waited for
  };

  /// Changes what is told and wakes whoever waits.
  void tell(const std::function<void(Told&)>& change);

  /// A line of the kit's console: the service's answers, saves and localization requests end there.
  void consoleLine(std::string_view line);

  [[nodiscard]] Told told() const;

  /// Waits up to `timeout` of real time until `done` holds; whether it does.
  bool waitFor(std::chrono::milliseconds timeout, const std::function<bool(const Told&)>& done) const;

 private:
  mutable base::Mutex mutex_;
  mutable std::condition_variable_any changed_;
  Told told_ GEOLOOM_GUARDED_BY(mutex_);
};

}  // namespace geoloom::tools
