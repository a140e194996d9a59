#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "localcloud/Message.h"

namespace geoloom::fuzz {

/// The clock of the service that is given such requests, and the developer key of the one that is given those
/// with an "authorization" header; a signed one of the corpus holds for both.
inline constexpr std::chrono::system_clock::time_point REQUEST_TIME{std::chrono::hours(490'000)};
inline constexpr std::string_view REQUEST_KEY = "access:secret";

/// Takes the text up to `end`, which is taken too and left out.
[[nodiscard]] inline std::string_view taken(std::string_view& text, std::string_view end) {
  const std::size_t at = text.find(end);
  const std::string_view result = text.substr(0, at);
  text.remove_prefix(at == std::string_view::npos ? text.size() : at + end.size());
  return result;
}

/// A request from its first line ("POST /target"), headers, an empty line and the body.
[[nodiscard]] inline localcloud::Request readRequest(std::string_view text) {
  localcloud::Request request;
  request.method = taken(text, " ");
  request.target = taken(text, "\n");
  while (!text.empty()) {
    std::string_view line = taken(text, "\n");
    if (line.empty()) break;
    const std::string name(taken(line, ": "));
    request.headers.emplace(name, line);
  }
  request.body = text;
  return request;
}

}  // namespace geoloom::fuzz
