#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"

namespace geoloom::tools {

/// Simulated phones in localization sessions against one map.
struct LoadOptions {
  std::string service;  ///< "http://127.0.0.1:8808"; plain HTTP
  std::size_t sessions = 100;
  std::chrono::seconds ramp{5};       ///< in which the sessions open, one after the other
  std::chrono::seconds duration{30};  ///< of the measurement, after the ramp
  double rowsPerSecond = 1;           ///< of each session
};

/// Requests of one kind. Times are in milliseconds from the moment a request was due to its answer, so that a
/// service that falls behind shows it.
struct OperationLoad {
  std::string name;
  std::vector<float> times = {};
  std::size_t errors = 0;  ///< no answer, or another status than 200

  /// 0.5 is the median; 0 without requests.
  [[nodiscard]] float quantile(double share) const;
};

struct LoadResult {
  std::vector<OperationLoad> operations;
  double seconds = 0;
  std::size_t sessions = 0;  ///< that were opened
};

/// Makes a map, opens the sessions and lets each send what a session of the kit sends: it saves a row for
/// each detection, scans for its transform a second after the last scan was answered, and asks every 8 s to
/// be localized. Each session keeps one connection and sends one request at a time. Uses the calling thread
/// alone. `progress` receives a line each second. Fails if the service does not make the map.
[[nodiscard]] base::Result<LoadResult> runLoad(const LoadOptions& options,
                                               const std::function<void(const std::string&)>& progress);

}  // namespace geoloom::tools
