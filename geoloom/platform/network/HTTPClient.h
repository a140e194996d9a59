#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::platform {

/// One POST request. Redirects are not followed; TLS verification is always on; plain HTTP goes to loopback
/// addresses only.
struct HTTPRequest {
  std::string url;
  /// Name and value; values must not be blank.
  std::vector<std::pair<std::string, std::string>> headers;
  std::string contentType = "application/json";
  std::string body;
  /// Time from the call to the last byte of the answer; at most a year.
  std::chrono::milliseconds deadline = std::chrono::seconds(60);
  /// Send it over a new connection that is closed afterwards. A reused connection may close just as the
  /// request is sent, and then the request fails; set this for requests that the caller does not repeat.
  bool ownConnection = false;
  /// If a reused connection closes without an answer, send the request again over another. Only for requests
  /// that the service may handle twice without harm.
  bool mayBeSentTwice = false;
};

/// An answer that arrived completely, with any status.
struct HTTPResponse {
  int status = 0;
  std::string body;
  /// The service's time, if the answer has a Date header.
  std::optional<Date> date;
};

/// The process's HTTP client: one thread runs all transfers. May be used from any thread. Without a complete
/// answer a request fails; the message contains no credentials.
class GEOLOOM_EXPORT HTTPClient {
 public:
  /// A request with a longer answer fails.
  static constexpr std::size_t MAXIMUM_ANSWER_BYTES = std::size_t{64} << 20;

  [[nodiscard]] static HTTPClient& shared();

  /// Trusts the certificate authorities of this PEM file instead of the system's, in requests sent from now
  /// on; an empty path restores the system's. Certificates are verified either way.
  void setCertificateAuthorities(std::string pemFile);

  /// Sends the request and returns at once; `completion` runs exactly once, on `queue`.
  void post(HTTPRequest request, std::shared_ptr<DispatchQueue> queue,
            std::function<void(base::Result<HTTPResponse>)> completion);

  /// Sends the request and blocks until the answer, in a BlockingScope.
  [[nodiscard]] base::Result<HTTPResponse> postAndWait(HTTPRequest request);

  /// Sends the request, returns at once and parses the answer on a global queue; `completion` runs exactly
  /// once, on `queue`, without a value if the transfer failed or the body is not JSON. The HTTP status is not
  /// examined.
  void postJSON(HTTPRequest request, std::shared_ptr<DispatchQueue> queue,
                std::function<void(std::optional<JSON>)> completion);

  HTTPClient(const HTTPClient&) = delete;
  HTTPClient& operator=(const HTTPClient&) = delete;

 private:
  HTTPClient();
  ~HTTPClient();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace geoloom::platform
