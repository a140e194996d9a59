#pragma once

#include <string_view>
#include <vector>

namespace geoloom::fuzz {

/// The parts of an input, separated by lines of "====".
[[nodiscard]] inline std::vector<std::string_view> pieces(std::string_view input) {
  constexpr std::string_view SEPARATOR = "====\n";
  std::vector<std::string_view> result;
  for (std::size_t end = 0; (end = input.find(SEPARATOR)) != std::string_view::npos;) {
    result.push_back(input.substr(0, end));
    input.remove_prefix(end + SEPARATOR.size());
  }
  result.push_back(input);
  return result;
}

}  // namespace geoloom::fuzz
