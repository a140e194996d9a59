#pragma once

#include <span>
#include <string>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace geoloom::base {

/// Two lower-case digits per byte.
[[nodiscard]] inline std::string hexadecimal(std::span<const unsigned char> bytes) {
  return fmt::format("{:02x}", fmt::join(bytes, ""));
}

}  // namespace geoloom::base
