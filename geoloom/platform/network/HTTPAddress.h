#pragma once

#include <string>

#include <sys/socket.h>

namespace geoloom::platform {

/// Where a request goes: what its head says of the address, and whether anything may be sent there.
struct HTTPAddress {
  /// Why nothing may be sent there, in one line without credentials; empty when something may. The rest then
  /// stands as below.
  std::string refusal;
  /// Without TLS: the name or number is this machine's own.
  bool isPlain = false;
  /// As the transfer sends it, with the port where it is not the scheme's own.
  std::string host = {};
  /// Begins with a slash.
  std::string path = {};
  /// Without its question mark; empty without one.
  std::string query = {};

  [[nodiscard]] static HTTPAddress of(const std::string& url);
};

[[nodiscard]] bool isLoopback(const sockaddr& address);

}  // namespace geoloom::platform
