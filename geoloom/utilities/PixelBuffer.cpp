#include "geoloom/utilities/PixelBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/imaging/vImage.h"

namespace geoloom {

using platform::Console;
using platform::CVPixelBuffer;
using platform::CVPixelFormatType;
using platform::vImage_Buffer;

namespace {

constexpr std::size_t PIXEL_BYTES = 4;

/// A rectangle in pixels from the top left.
struct Crop {
  std::size_t x;
  std::size_t y;
  std::size_t width;
  std::size_t height;
};

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using ScaledMemory = std::unique_ptr<void, Free>;

/// Pixels of four bytes in a row of the source.
std::size_t widthOf(const CVPixelBuffer& source) {
  const auto format = source.pixelFormatType();
  const bool fourBytes = format == CVPixelFormatType::BGRA32 || format == CVPixelFormatType::ARGB32;
  return fourBytes ? source.width() : source.width() / PIXEL_BYTES;
}

bool liesInside(const Crop& crop, std::size_t width, std::size_t height) {
  return crop.x <= width && crop.width <= width - crop.x && crop.y <= height &&
         crop.height <= height - crop.y;
}

std::string sizeText(std::size_t width, std::size_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

/// Null if the size is out of range or there is not enough memory.
ScaledMemory allocate(std::size_t width, std::size_t height) {
  std::size_t rowBytes = 0;
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(width, PIXEL_BYTES, &rowBytes) ||
      __builtin_mul_overflow(height, rowBytes, &bytes)) {
    return nullptr;
  }
  return ScaledMemory(std::malloc(std::max(bytes, PIXEL_BYTES)));
}

/// The crop of the source scaled into new memory; null, after a line on the console, on failure.
ScaledMemory scaled(CVPixelBuffer& source, const Crop& crop, std::size_t width, std::size_t height) {
  const platform::CVPixelBufferLock lock(source);
  std::uint8_t* const base = source.baseAddress();
  const std::size_t sourceWidth = widthOf(source);
  if (!liesInside(crop, sourceWidth, source.height())) {
    Console::print("Error: the crop rectangle (" + std::to_string(crop.x) + ", " + std::to_string(crop.y) +
                   ", " + sizeText(crop.width, crop.height) + ") must lie inside the source, " +
                   sizeText(sourceWidth, source.height()) + " pixels of 4 bytes");
    return nullptr;
  }
  ScaledMemory memory = allocate(width, height);
  if (!memory) {
    Console::print("Error: out of memory");
    return nullptr;
  }
  const std::size_t rowBytes = source.bytesPerRow();
  const vImage_Buffer from{base + crop.y * rowBytes + crop.x * PIXEL_BYTES, crop.height, crop.width,
                           rowBytes};
  const vImage_Buffer to{memory.get(), height, width, width * PIXEL_BYTES};
  const platform::vImage_Error error = platform::vImageScale_ARGB8888(from, to);
  if (error == platform::kvImageNoError) return memory;
  Console::print("Error: " + std::to_string(error));
  return nullptr;
}

}  // namespace

std::shared_ptr<CVPixelBuffer> createPixelBuffer(std::size_t width, std::size_t height) {
  platform::CVReturn status = platform::kCVReturnSuccess;
  auto buffer = CVPixelBuffer::create(width, height, CVPixelFormatType::BGRA32, &status);
  if (!buffer) Console::print("Error: could not create resized pixel buffer " + std::to_string(status));
  return buffer;
}

std::shared_ptr<CVPixelBuffer> resizePixelBuffer(const std::shared_ptr<CVPixelBuffer>& source,
                                                 std::size_t cropX, std::size_t cropY, std::size_t cropWidth,
                                                 std::size_t cropHeight, std::size_t scaleWidth,
                                                 std::size_t scaleHeight) {
  if (!source) {
    Console::print("Error: could not get pixel buffer base address");
    return nullptr;
  }
  ScaledMemory memory = scaled(*source, {cropX, cropY, cropWidth, cropHeight}, scaleWidth, scaleHeight);
  if (!memory) return nullptr;
  auto buffer =
      CVPixelBuffer::createWithBytes(scaleWidth, scaleHeight, source->pixelFormatType(), memory.get(),
                                     scaleWidth * PIXEL_BYTES, [bytes = memory.get()] { std::free(bytes); });
  if (buffer) {
    static_cast<void>(memory.release());  // owned by the buffer from here on
  } else {
    Console::print("Error: could not create new pixel buffer");
  }
  return buffer;
}

std::shared_ptr<CVPixelBuffer> resizePixelBuffer(const std::shared_ptr<CVPixelBuffer>& source,
                                                 std::size_t width, std::size_t height) {
  const std::size_t sourceWidth = source ? source->width() : 0;
  const std::size_t sourceHeight = source ? source->height() : 0;
  return resizePixelBuffer(source, 0, 0, sourceWidth, sourceHeight, width, height);
}

void resizePixelBuffer(const std::shared_ptr<CVPixelBuffer>& source, std::size_t width, std::size_t height,
                       const std::shared_ptr<CVPixelBuffer>& output, const platform::CIContext& context) {
  if (!source || !output) return;
  const double sx = static_cast<double>(width) / static_cast<double>(source->width());
  const double sy = static_cast<double>(height) / static_cast<double>(source->height());
  context.render(platform::CIImage(source).transformed(platform::CGAffineTransformMakeScale(sx, sy)),
                 *output);
}

}  // namespace geoloom
