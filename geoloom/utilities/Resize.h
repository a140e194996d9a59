#pragma once

#include <cstdlib>
#include <functional>
#include <memory>

#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/imaging/vImage.h"

namespace geoloom {

/// What resizing a pixel buffer stands on; a test puts steps that fail in their place.
struct ResizeSteps {
  void* (*allocate)(std::size_t bytes) = std::malloc;
  void (*release)(void* memory) = std::free;
  platform::vImage_Error (*scale)(const platform::vImage_Buffer& source,
                                  const platform::vImage_Buffer& destination) =
      platform::vImageScale_ARGB8888;
  std::shared_ptr<platform::CVPixelBuffer> (*wrap)(
      std::size_t width, std::size_t height, platform::CVPixelFormatType format, void* bytes,
      std::size_t bytesPerRow, std::function<void()> release) = platform::CVPixelBuffer::createWithBytes;
};

/// A rectangle in pixels from the top left.
struct Crop {
  std::ptrdiff_t x = 0;
  std::ptrdiff_t y = 0;
  std::ptrdiff_t width = 0;
  std::ptrdiff_t height = 0;
};

/// resizePixelBuffer with other steps.
[[nodiscard]] std::shared_ptr<platform::CVPixelBuffer> resize(platform::CVPixelBuffer& source,
                                                              const Crop& crop, std::ptrdiff_t width,
                                                              std::ptrdiff_t height,
                                                              const ResizeSteps& steps);

}  // namespace geoloom
