#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "localcloud/Message.h"

namespace geoloom::fuzz {

/// The time of the service for these requests, and its developer key for those with an "authorization"
/// header. A signed request of the corpus is valid for both.
inline constexpr std::chrono::system_clock::time_point REQUEST_TIME{std::chrono::hours(490'000)};
inline constexpr std::string_view REQUEST_KEY = "access:secret";

/// Removes the text up to and including `end`; returns it without `end`.
[[nodiscard]] inline std::string_view taken(std::string_view& text, std::string_view end) {
  const std::size_t at = text.find(end);
  const std::string_view result = text.substr(0, at);
  text.remove_prefix(at == std::string_view::npos ? text.size() : at + end.size());
  return result;
}

/// Reads a request: its first line ("POST /target"), headers, an empty line and the body.
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
