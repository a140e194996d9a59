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

/// The whole service in one object: a store, the service over it and the server in front of it.
class Server {
 public:
  struct Options {
    std::filesystem::path data;                    ///< the directory of the store
    std::optional<std::string> developerKey = {};  ///< with it, signatures are verified
    HTTPServer::Options http = {};
    /// Receives a line for each request that is answered, on the connection's thread; empty: none.
    std::function<void(std::string_view)> log = {};
    Now now = &std::chrono::system_clock::now;
  };

  /// Listens and answers from now on. Throws StoreError or ListenError.
  explicit Server(const Options& options);

  /// "http://127.0.0.1:8808", without a slash at the end; "https" when it has a certificate.
  [[nodiscard]] const std::string& url() const { return url_; }

  /// What the service holds.
  [[nodiscard]] Store& store() { return store_; }

 private:
  Store store_;
  Service service_;
  HTTPServer http_;
  std::string url_;
};

}  // namespace geoloom::localcloud
