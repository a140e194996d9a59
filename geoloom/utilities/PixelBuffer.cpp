#include "geoloom/utilities/PixelBuffer.h"

#include <cstdint>
#include <string>

#include "geoloom/base/ScopeExit.h"
#include "geoloom/base/WhereMemorySuffices.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/utilities/Resize.h"

namespace geoloom {

using platform::Console;
using platform::CVPixelBuffer;
using platform::CVPixelFormatType;
using platform::vImage_Buffer;

namespace {

/// Memory for the scaled pixels, given back by the step that does so.
using ScaledMemory = std::unique_ptr<void, void (*)(void*)>;

std::string sizeText(std::ptrdiff_t width, std::ptrdiff_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

/// Pixels of four bytes in a row of the source.
std::ptrdiff_t widthOf(const CVPixelBuffer& source) {
  const auto format = source.pixelFormatType();
  const bool fourBytes = format == CVPixelFormatType::BGRA32 || format == CVPixelFormatType::ARGB32;
  return static_cast<std::ptrdiff_t>(fourBytes ? source.width() : source.width() / 4);
}

bool isInside(const Crop& crop, std::ptrdiff_t width, std::ptrdiff_t height) {
  return crop.x >= 0 && crop.y >= 0 && crop.width > 0 && crop.height > 0 && crop.x <= width - crop.width &&
         crop.y <= height - crop.height;
}

/// The text after "Error: " for what a caller asked that cannot be done; empty when it can.
std::string refusal(const Crop& crop, std::ptrdiff_t width, std::ptrdiff_t height,
                    const CVPixelBuffer& source) {
  const std::ptrdiff_t sourceWidth = widthOf(source);
  const auto sourceHeight = static_cast<std::ptrdiff_t>(source.height());
  if (!isInside(crop, sourceWidth, sourceHeight)) {
    return "the crop rectangle (" + std::to_string(crop.x) + ", " + std::to_string(crop.y) + ", " +
           sizeText(crop.width, crop.height) + ") must lie inside the source, " +
           sizeText(sourceWidth, sourceHeight) + " pixels of 4 bytes";
  }
  if (width <= 0 || height <= 0) return "the scaled size " + sizeText(width, height) + " must be positive";
  return "";
}

/// The crop of the source, locked meanwhile, scaled into new memory; null, with a line, on failure.
ScaledMemory scaled(CVPixelBuffer& source, const Crop& crop, std::ptrdiff_t width, std::ptrdiff_t height,
                    const ResizeSteps& steps) {
  ScaledMemory memory(nullptr, steps.release);
  source.lockBaseAddress();
  const base::ScopeExit unlock([&] { source.unlockBaseAddress(); });
  std::uint8_t* const base = source.baseAddress();
  if (base == nullptr) {
    Console::print("Error: could not get pixel buffer base address");
    return memory;
  }
  if (const std::string reason = refusal(crop, width, height, source); !reason.empty()) {
    Console::print("Error: " + reason);
    return memory;
  }
  const std::size_t sourceRowBytes = source.bytesPerRow();
  const vImage_Buffer from{
      base + static_cast<std::size_t>(crop.y) * sourceRowBytes + static_cast<std::size_t>(crop.x) * 4,
      static_cast<std::size_t>(crop.height), static_cast<std::size_t>(crop.width), sourceRowBytes};
  std::size_t rowBytes = 0;
  std::size_t bytes = 0;
  const bool countable =
      !__builtin_mul_overflow(static_cast<std::size_t>(width), std::size_t{4}, &rowBytes) &&
      !__builtin_mul_overflow(static_cast<std::size_t>(height), rowBytes, &bytes);
  if (countable) memory.reset(steps.allocate(bytes));
  if (!memory) {
    Console::print("Error: out of memory");
    return memory;
  }
  const vImage_Buffer to{memory.get(), static_cast<std::size_t>(height), static_cast<std::size_t>(width),
                         rowBytes};
  const platform::vImage_Error error = steps.scale(from, to);
  if (error == platform::kvImageNoError) return memory;
  Console::print("Error: " + std::to_string(error));
  return {nullptr, steps.release};
}

}  // namespace

std::shared_ptr<CVPixelBuffer> createPixelBuffer(std::ptrdiff_t width, std::ptrdiff_t height) {
  platform::CVReturn status = platform::kCVReturnInvalidArgument;
  std::shared_ptr<CVPixelBuffer> buffer;
  if (width > 0 && height > 0) {
    buffer = CVPixelBuffer::create(static_cast<std::size_t>(width), static_cast<std::size_t>(height),
                                   CVPixelFormatType::BGRA32, &status);
  }
  if (!buffer) Console::print("Error: could not create resized pixel buffer " + std::to_string(status));
  return buffer;
}

std::shared_ptr<CVPixelBuffer> resize(CVPixelBuffer& source, const Crop& crop, std::ptrdiff_t width,
                                      std::ptrdiff_t height, const ResizeSteps& steps) {
  ScaledMemory memory = scaled(source, crop, width, height, steps);
  if (!memory) return nullptr;
  auto buffer = steps.wrap(static_cast<std::size_t>(width), static_cast<std::size_t>(height),
                           source.pixelFormatType(), memory.get(), static_cast<std::size_t>(width) * 4,
                           [release = steps.release, bytes = memory.get()] { release(bytes); });
  if (buffer) {
    static_cast<void>(memory.release());  // the buffer's from now on
  } else {
    Console::print("Error: could not create new pixel buffer");
  }
  return buffer;
}

std::shared_ptr<CVPixelBuffer> resizePixelBuffer(CVPixelBuffer& pixelBuffer, std::ptrdiff_t cropX,
                                                 std::ptrdiff_t cropY, std::ptrdiff_t cropWidth,
                                                 std::ptrdiff_t cropHeight, std::ptrdiff_t scaleWidth,
                                                 std::ptrdiff_t scaleHeight) {
  return base::whereMemorySuffices([&] {
    return resize(pixelBuffer, {cropX, cropY, cropWidth, cropHeight}, scaleWidth, scaleHeight, ResizeSteps{});
  });
}

std::shared_ptr<CVPixelBuffer> resizePixelBuffer(CVPixelBuffer& pixelBuffer, std::ptrdiff_t width,
                                                 std::ptrdiff_t height) {
  return resizePixelBuffer(pixelBuffer, 0, 0, static_cast<std::ptrdiff_t>(pixelBuffer.width()),
                           static_cast<std::ptrdiff_t>(pixelBuffer.height()), width, height);
}

void resizePixelBuffer(const std::shared_ptr<CVPixelBuffer>& pixelBuffer, std::ptrdiff_t width,
                       std::ptrdiff_t height, CVPixelBuffer& output, const platform::CIContext& context) {
  if (!pixelBuffer) return;
  const double sx = static_cast<double>(width) / static_cast<double>(pixelBuffer->width());
  const double sy = static_cast<double>(height) / static_cast<double>(pixelBuffer->height());
  const platform::CIImage scaled =
      platform::CIImage(pixelBuffer).transformed(platform::CGAffineTransformMakeScale(sx, sy));
  context.render(scaled, output);
}

}  // namespace geoloom
