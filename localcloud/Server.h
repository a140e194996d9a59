#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "localcloud/Clock.h"
#include "localcloud/HTTPServer.h"
#include "localcloud/Service.h"
#include "localcloud/Store.h"

namespace geoloom::localcloud {

/// The whole service in one object: the store, the service and the HTTP server.
class Server {
 public:
  struct Options {
    std::filesystem::path data;                    ///< the directory of the store
    std::optional<std::string> developerKey = {};  ///< if set, signatures are verified
    HTTPServer::Options http = {};
    /// Receives a line for each answered request, on the connection's thread; may be empty.
    std::function<void(std::string_view)> log = {};
    Now now = &std::chrono::system_clock::now;
  };

  /// Starts to listen and answer. Throws StoreError or ListenError.
  explicit Server(const Options& options);

  /// "http://127.0.0.1:8808", without a slash at the end; "https" when it has a certificate.
  [[nodiscard]] const std::string& url() const { return url_; }

  /// The stored data, for tests and tools.
  [[nodiscard]] Store& store() { return store_; }

 private:
  Store store_;
  Service service_;
  HTTPServer http_;
  std::string url_;
};

}  // namespace geoloom::localcloud
