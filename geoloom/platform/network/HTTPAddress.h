#pragma once

#include <string>

#include <sys/socket.h>

#include "geoloom/base/Result.h"

namespace geoloom::platform {

/// The parts of a request's URL that the request's head and its signature use.
struct HTTPAddress {
  /// Without TLS; the host is then a loopback address or "localhost".
  bool isPlain = false;
  /// As the transfer sends it, with the port if it is not the scheme's default.
  std::string host;
  /// Begins with a slash.
  std::string path;
  /// Without its question mark; empty if there is none.
  std::string query;

  /// Fails for an address to which nothing may be sent, in one line without credentials.
  [[nodiscard]] static base::Result<HTTPAddress> of(const std::string& url);
};

[[nodiscard]] bool isLoopback(const sockaddr& address);

}  // namespace geoloom::platform
