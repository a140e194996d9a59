#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace geoloom::localcloud {

/// A complete HTTP request. Header names are in lower case; values are unchanged, in order of arrival.
struct Request {
  std::string method;
  std::string target;  ///< path and query as sent
  std::multimap<std::string, std::string> headers;
  std::string body;
  bool bodyTooLarge = false;  ///< the body was over the limit and is left out

  /// The first value of a header.
  [[nodiscard]] std::optional<std::string> header(const std::string& name) const;
};

/// A complete HTTP answer.
struct Answer {
  int status = 200;
  std::string contentType = "application/json";
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers = {};
};

/// {"errorMessage": text}, the answer to a rejected mapping operation.
[[nodiscard]] Answer mappingError(int status, std::string_view text);

}  // namespace geoloom::localcloud
