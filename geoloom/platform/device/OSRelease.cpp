#include "geoloom/platform/device/OSRelease.h"

namespace geoloom::platform {

namespace {

std::string unquoted(std::string_view value) {
  std::string result;
  char quote = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = 0;
    } else if (c == '\\' && quote != '\'' && i + 1 < value.size()) {
      result.push_back(value[++i]);
    } else {
      result.push_back(c);
    }
  }
  return result;
}

}  // namespace

std::string osReleaseValue(std::string_view text, std::string_view key) {
  std::string value;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    if (line.starts_with(key) && line.substr(key.size()).starts_with('=')) {
      value = unquoted(line.substr(key.size() + 1));
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return value;
}

}  // namespace geoloom::platform
