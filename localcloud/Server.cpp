#include "localcloud/Server.h"

#include <fmt/format.h>

namespace geoloom::localcloud {

namespace {

std::string address(const Server::Options& options, int port) {
  const std::string& host = options.http.host;
  const bool isIPv6 = host.find(':') != std::string::npos;
  return fmt::format("{}://{}:{}", options.http.tls ? "https" : "http", isIPv6 ? "[" + host + "]" : host,
                     port);
}

}  // namespace

Server::Server(const Options& options)
    : store_(options.data),
      service_(store_, options.now, options.developerKey),
      http_(options.http, [this](const Request& request) { return service_.answer(request); }),
      url_(address(options, http_.port())) {}

}  // namespace geoloom::localcloud
