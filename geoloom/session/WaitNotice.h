#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>

namespace geoloom {

/// The console line about a localization that waits: one for each reason, after it has waited for 5 s.
class WaitNotice {
 public:
  static constexpr std::chrono::seconds PATIENCE{5};

  /// The line to print at `now`, if any. `reason` is the reason for waiting, empty if the localization does
  /// not wait; call it with each change, and again while the reason lasts.
  [[nodiscard]] std::optional<std::string> update(const std::string& reason, std::chrono::nanoseconds now);

 private:
  std::string reason_;
  std::chrono::nanoseconds since_{};
  std::set<std::string> printed_;
};

}  // namespace geoloom
