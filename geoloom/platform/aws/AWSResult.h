#pragma once

#include <string>
#include <variant>

namespace geoloom::platform {

/// Why a request to one of the provider's services came to nothing.
struct AWSError {
  enum class Kind {
    /// No answer, or one that is not the service's: refused, timed out, torn, a page of somebody else's.
    transport,
    /// The service asks to be left alone for a while.
    throttling,
    /// The service failed (a status of 500 or above).
    unavailable,
    /// The service refuses the request: validation, access, a missing table.
    rejected,
    /// This side does not send it: no configuration, an address or a header that is not allowed.
    unsendable,
  };
  Kind kind = Kind::transport;
  /// One line for people; holds no secret.
  std::string description;

  [[nodiscard]] bool isRetryable() const { return kind != Kind::unsendable; }
};

/// What a request was for, or why there is none.
template <class Value>
using AWSResult = std::variant<Value, AWSError>;

}  // namespace geoloom::platform
