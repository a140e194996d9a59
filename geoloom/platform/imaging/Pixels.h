#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

namespace geoloom::platform {

/// Whether sizes describe a picture whose every byte can be addressed, with sides and rows that libyuv's
/// `int` counts.
[[nodiscard]] constexpr bool isPicture(std::size_t width, std::size_t height, std::size_t bytesPerRow,
                                       std::size_t bytesPerPixel) {
  constexpr std::size_t largest = std::numeric_limits<std::int32_t>::max();
  return width > 0 && height > 0 && height <= largest && bytesPerRow <= largest &&
         bytesPerRow / bytesPerPixel >= width;
}

struct FreePixels {
  void operator()(std::uint8_t* memory) const { std::free(memory); }
};

/// Uninitialised memory for pixels; null when it does not suffice.
using PixelMemory = std::unique_ptr<std::uint8_t, FreePixels>;
[[nodiscard]] inline PixelMemory allocatePixels(std::size_t bytes) {
  return PixelMemory(static_cast<std::uint8_t*>(std::malloc(bytes)));
}

}  // namespace geoloom::platform
