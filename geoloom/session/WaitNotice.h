#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>

namespace geoloom {

/// Tells a developer what a localization waits for: one line for each reason, once it has waited for 5 s.
class WaitNotice {
 public:
  static constexpr std::chrono::seconds PATIENCE{5};

  /// The line to print at `now`, if any. `reason` is what the localization waits for, empty if for nothing;
  /// call it with each change, and again while the reason lasts.
  [[nodiscard]] std::optional<std::string> update(const std::string& reason, std::chrono::nanoseconds now);

 private:
  std::string reason_;
  std::chrono::nanoseconds since_{};
  std::set<std::string> printed_;
};

}  // namespace geoloom
