#pragma once

#include <string>

#include <sys/socket.h>

#include "geoloom/base/Result.h"

namespace geoloom::platform {

/// The parts of a URL that the head of the request and its signature use.
struct HTTPAddress {
  /// True without TLS; the host is then a loopback address or "localhost".
  bool isPlain = false;
  /// The value of the Host header: with the port if it is not the scheme's default.
  std::string host;
  /// Begins with a slash.
  std::string path;
  /// Without its question mark; empty for a URL without a query.
  std::string query;

  /// Fails for an address that is not allowed; the message contains no credentials.
  [[nodiscard]] static base::Result<HTTPAddress> of(const std::string& url);
};

[[nodiscard]] bool isLoopback(const sockaddr& address);

}  // namespace geoloom::platform
