#pragma once

#include <future>
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

/// The answer, when it has come. A second one would throw, be logged, and fail the test.
inline platform::HTTPResponse answerTo(platform::HTTPRequest request) {
  const auto promise = std::make_shared<std::promise<platform::HTTPResponse>>();
  platform::HTTPClient::shared().post(
      std::move(request), platform::DispatchQueue::global(),
      [promise](platform::HTTPResponse response) { promise->set_value(std::move(response)); });
  return promise->get_future().get();
}

}  // namespace geoloom::test
