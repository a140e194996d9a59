#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "geoloom/platform/aws/DeveloperKey.h"

#include "localcloud/Message.h"

namespace geoloom::localcloud {

/// Checks the Signature Version 4 of a request against one credential pair. Immutable, called from any
/// thread.
class SignatureVerifier {
 public:
  /// A signature is valid for this long before and after its time.
  static constexpr std::chrono::minutes ALLOWED_SKEW{15};

  /// Type and message of a rejection, as the real services word it.
  struct Refusal {
    std::string type;
    std::string message;
  };

  explicit SignatureVerifier(platform::DeveloperKey::Pair pair) : pair_(std::move(pair)) {}

  /// Absent if the request is signed for `service` ("dynamodb", "monitoring") in any region.
  [[nodiscard]] std::optional<Refusal> check(const Request& request, std::string_view service,
                                             std::chrono::system_clock::time_point now) const;

 private:
  platform::DeveloperKey::Pair pair_;
};

}  // namespace geoloom::localcloud
