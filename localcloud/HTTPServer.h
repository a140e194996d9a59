#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "localcloud/Message.h"

namespace geoloom::localcloud {

/// Files of a server's certificate chain and private key, PEM.
struct TLSFiles {
  std::filesystem::path certificate;
  std::filesystem::path key;
};

/// The address or the certificate cannot be used; the text is one line with the reason.
class ListenError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// HTTP/1.1 over TCP or TLS: the handler gets complete requests and returns complete answers. One thread
/// reads and writes all connections, which are kept for further requests; workers run the handler.
class HTTPServer {
 public:
  struct Options {
    std::string host = "127.0.0.1";
    int port = 0;  ///< 0 lets the system choose
    std::optional<TLSFiles> tls = {};
    std::size_t bodyLimit = std::size_t{8} * 1024 * 1024;
    /// Further connections wait until one ends.
    std::size_t connectionLimit = 16'000;
    /// Requests that wait for a worker or are being handled; further ones are answered with status 503.
    std::size_t answeringLimit = 4'000;
    /// Time to receive a request, from its first byte, and again to send its answer.
    std::chrono::milliseconds requestDeadline{15'000};
    /// Time until the next request begins.
    std::chrono::milliseconds idleDeadline{120'000};
  };

  /// Called from the workers; must not throw.
  using Handler = std::function<Answer(const Request&)>;

  /// Starts to listen and answer. Throws ListenError.
  HTTPServer(const Options& options, Handler handler);

  /// Finishes the requests being answered, drops the others and closes all connections.
  ~HTTPServer();
  HTTPServer(const HTTPServer&) = delete;
  HTTPServer& operator=(const HTTPServer&) = delete;

  [[nodiscard]] int port() const;

 private:
  class Listener;
  std::unique_ptr<Listener> listener_;
};

}  // namespace geoloom::localcloud
