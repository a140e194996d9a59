#include "geoloom/session/WaitNotice.h"

namespace geoloom {

std::optional<std::string> WaitNotice::update(const std::string& reason, std::chrono::nanoseconds now) {
  if (reason != reason_) {
    reason_ = reason;
    since_ = now;
  }
  if (reason.empty() || now - since_ < PATIENCE || !printed_.insert(reason).second) return std::nullopt;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - since_).count();
  return "localization has been waiting " + std::to_string(seconds) + " s for " + reason;
}

}  // namespace geoloom
