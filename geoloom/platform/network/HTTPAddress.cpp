#include "geoloom/platform/network/HTTPAddress.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <strings.h>

namespace geoloom::platform {

namespace {

struct URLDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using URL = std::unique_ptr<CURLU, URLDeleter>;

bool isLoopback(const in_addr& address) {
  return (ntohl(address.s_addr) >> 24) == 127;
}

bool namesLoopback(std::string_view host) {
  if (host.size() == 9 && strncasecmp(host.data(), "localhost", 9) == 0) return true;
  in_addr v4{};
  if (inet_pton(AF_INET, std::string(host).c_str(), &v4) == 1) return isLoopback(v4);
  if (!host.starts_with('[') || !host.ends_with(']')) return false;
  in6_addr v6{};
  const std::string inner(host.substr(1, host.size() - 2));
  return inet_pton(AF_INET6, inner.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6) != 0;
}

std::string part(CURLU* url, CURLUPart which, unsigned int flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, flags) != CURLUE_OK) return {};
  std::string result(text);
  curl_free(text);
  return result;
}

}  // namespace

bool isLoopback(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    sockaddr_in v4{};
    std::memcpy(&v4, &address, sizeof v4);
    return isLoopback(v4.sin_addr);
  }
  if (address.sa_family == AF_INET6) {
    sockaddr_in6 v6{};
    std::memcpy(&v6, &address, sizeof v6);
    return IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr) != 0;
  }
  return false;
}

base::Result<HTTPAddress> HTTPAddress::of(const std::string& url) {
  const URL parsed(curl_url());
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK)
    return base::Failure{"The address of the service is not a URL"};
  const std::string scheme = part(parsed.get(), CURLUPART_SCHEME);
  const bool isPlain = scheme == "http";
  if (!isPlain && scheme != "https")
    return base::Failure{"The address of the service must begin with https://"};
  if (!part(parsed.get(), CURLUPART_USER).empty() || !part(parsed.get(), CURLUPART_PASSWORD).empty())
    return base::Failure{"The address of the service must not hold credentials"};
  std::string host = part(parsed.get(), CURLUPART_HOST);
  // The lookup of other characters would depend on the application's locale.
  if (std::any_of(host.begin(), host.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }))
    return base::Failure{"The host name of the service holds non-ASCII letters; write its xn-- form"};
  if (isPlain && !namesLoopback(host))
    return base::Failure{"Plain HTTP is for loopback addresses only; use https:// for " + host};
  const std::string port = part(parsed.get(), CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
  if (!port.empty()) host.append(":").append(port);
  return HTTPAddress{.isPlain = isPlain,
                     .host = std::move(host),
                     .path = part(parsed.get(), CURLUPART_PATH, CURLU_URLENCODE),
                     .query = part(parsed.get(), CURLUPART_QUERY)};
}

}  // namespace geoloom::platform
