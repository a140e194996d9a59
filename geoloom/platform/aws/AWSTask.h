#pragma once

#include <future>
#include <string>
#include <utility>
#include <variant>

#include "geoloom/platform/foundation/Dispatch.h"

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
    /// The service, or this side, will refuse the same request again: validation, access, missing table.
    rejected,
  };
  Kind kind = Kind::transport;
  /// One line for people; holds no secret.
  std::string description;

  [[nodiscard]] bool isRetryable() const { return kind != Kind::rejected; }
};

/// What a request was for, or why there is none.
template <class Value>
using AWSResult = std::variant<Value, AWSError>;

/// A request on its way.
template <class Value>
class AWSTask {
 public:
  explicit AWSTask(std::future<AWSResult<Value>> outcome) : outcome_(std::move(outcome)) {}

  /// Returns when the request has ended, at the latest at its deadline. Waiting is a BlockingScope. Call
  /// once.
  [[nodiscard]] AWSResult<Value> waitUntilFinished() {
    const BlockingScope waiting;
    return outcome_.get();
  }

 private:
  std::future<AWSResult<Value>> outcome_;
};

}  // namespace geoloom::platform
