#pragma once

#include <array>
#include <cstdint>

namespace geoloom::tools {

/// Seven rows of five pixels, the leftmost in the highest of the five bits. Small letters look like capitals;
/// what has no picture of its own is a box.
[[nodiscard]] const std::array<std::uint8_t, 7>& glyphOf(char character);

}  // namespace geoloom::tools
