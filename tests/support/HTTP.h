#pragma once

#include <string>
#include <utility>

#include "geoloom/platform/network/HTTPClient.h"

namespace geoloom::test {

inline platform::HTTPRequest requestTo(std::string url, std::string body = "{}") {
  platform::HTTPRequest request;
  request.url = std::move(url);
  request.body = std::move(body);
  return request;
}

}  // namespace geoloom::test
