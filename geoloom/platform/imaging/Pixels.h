#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

#include "geoloom/platform/imaging/CGImage.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

/// True if the image fits the address space, and its sides and rows fit libyuv's `int`.
[[nodiscard]] constexpr bool isAddressable(std::size_t width, std::size_t height, std::size_t bytesPerRow,
                                           std::size_t bytesPerPixel) {
  constexpr std::size_t LARGEST = std::numeric_limits<std::int32_t>::max();
  return width > 0 && height > 0 && height <= LARGEST && bytesPerRow <= LARGEST &&
         bytesPerRow / bytesPerPixel >= width;
}

/// The layout of an image made from a buffer of this format; two planes are converted to BGRA.
[[nodiscard]] constexpr CGPixelLayout layoutOf(CVPixelFormatType format) {
  if (format == CVPixelFormatType::oneComponent8) return {CGColorSpace::deviceGray, CGImageAlphaInfo::none};
  return {CGColorSpace::deviceRGB, CGImageAlphaInfo::premultipliedFirst,
          format == CVPixelFormatType::ARGB32 ? CGByteOrder::big : CGByteOrder::little};
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
