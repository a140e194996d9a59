#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::platform {

/// One POST request. Redirects are not followed; TLS verification is always on; plain HTTP goes to loopback
/// only.
struct HTTPRequest {
  std::string url;
  /// Name and value; values must not be blank.
  std::vector<std::pair<std::string, std::string>> headers;
  std::string contentType = "application/json";
  std::string body;
  /// From hand-over to the last byte of the answer; at most a year.
  std::chrono::milliseconds deadline = std::chrono::seconds(60);
  /// Over a connection that nothing else is sent over, before or after. A kept one may close just as the
  /// request goes out, and the client does not send it again: this is for what nobody else repeats either.
  bool ownConnection = false;
  /// Where a kept connection closes without an answer, the request is sent again over another: for what
  /// the service may act on twice without harm.
  bool mayBeSentTwice = false;
};

/// What came of a request: `error` is empty when an answer arrived whole, whatever its status.
struct HTTPResponse {
  int status = 0;
  std::string body;
  std::string error;
  /// This side would not send it, and will not the next time: its address or a header is not allowed.
  bool refused = false;
};

/// The process's HTTP client: one thread drives all transfers. May be used from any thread; nothing blocks.
class GEOLOOM_EXPORT HTTPClient {
 public:
  /// Longer answers end in an error.
  static constexpr std::size_t maximumAnswerBytes = std::size_t{64} << 20;

  [[nodiscard]] static HTTPClient& shared();

  /// Trusts the certificate authorities of this PEM file instead of the system's, in requests sent from now
  /// on; empty brings the system's back. Certificates are verified either way.
  void setCertificateAuthorities(std::string pemFile);

  /// Sends the request; `completion` runs exactly once, on `queue`.
  void post(HTTPRequest request, std::shared_ptr<DispatchQueue> queue,
            std::function<void(HTTPResponse)> completion);

  /// Sends the request and parses the answer on a global queue; `completion` runs exactly once, on `queue`,
  /// with nothing when the transfer failed or the body is not JSON. The HTTP status is not examined.
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
