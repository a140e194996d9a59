#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

namespace geoloom::platform {

/// Whether the sizes describe an image that can be addressed, with sides and rows that fit libyuv's `int`.
[[nodiscard]] constexpr bool isAddressable(std::size_t width, std::size_t height, std::size_t bytesPerRow,
                                           std::size_t bytesPerPixel) {
  constexpr std::size_t LARGEST = std::numeric_limits<std::int32_t>::max();
  return width > 0 && height > 0 && height <= LARGEST && bytesPerRow <= LARGEST &&
         bytesPerRow / bytesPerPixel >= width;
}

struct FreePixels {
  void operator()(std::uint8_t* memory) const { std::free(memory); }
};

/// Uninitialised memory for pixels.
using PixelMemory = std::unique_ptr<std::uint8_t, FreePixels>;
[[nodiscard]] inline PixelMemory allocatePixels(std::size_t bytes) {
  auto* const memory = static_cast<std::uint8_t*>(std::malloc(bytes));
  if (memory == nullptr) throw std::bad_alloc();
  return PixelMemory(memory);
}

}  // namespace geoloom::platform
