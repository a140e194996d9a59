#pragma once

#include <span>
#include <string>
#include <string_view>

namespace geoloom::base {

/// Two lower-case digits per byte.
[[nodiscard]] inline std::string hexadecimal(std::span<const unsigned char> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const unsigned char byte : bytes) {
    text += digits[byte >> 4U];
    text += digits[byte & 15U];
  }
  return text;
}

}  // namespace geoloom::base
