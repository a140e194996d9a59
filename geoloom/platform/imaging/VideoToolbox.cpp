#include "geoloom/platform/imaging/VideoToolbox.h"

#include <utility>

#include <libyuv.h>

#include "geoloom/platform/imaging/Pixels.h"

namespace geoloom::platform {

namespace {

constexpr CGPixelLayout GRAY{CGColorSpace::deviceGray, CGImageAlphaInfo::none, CGByteOrder::big};
constexpr CGPixelLayout ARGB{CGColorSpace::deviceRGB, CGImageAlphaInfo::premultipliedFirst, CGByteOrder::big};
constexpr CGPixelLayout BGRA{CGColorSpace::deviceRGB, CGImageAlphaInfo::premultipliedFirst,
                             CGByteOrder::little};

std::shared_ptr<CGImage> shared(const std::shared_ptr<CVPixelBuffer>& buffer, CGPixelLayout layout) {
  const std::size_t bytes = buffer->bytesPerRow() * buffer->height();
  return CGImage::create(buffer->width(), buffer->height(), buffer->bytesPerRow(), layout,
                         std::shared_ptr<const std::uint8_t>(buffer, buffer->baseAddress()), bytes);
}

std::shared_ptr<CGImage> converted(const CVPixelBuffer& buffer) {
  const std::size_t rowBytes = buffer.width() * 4;
  if (!isAddressable(buffer.width(), buffer.height(), rowBytes, 4)) return nullptr;
  PixelMemory memory = allocatePixels(rowBytes * buffer.height());
  libyuv::NV12ToARGBMatrix(buffer.baseAddress(0), static_cast<int>(buffer.bytesPerRow(0)),
                           buffer.baseAddress(1), static_cast<int>(buffer.bytesPerRow(1)), memory.get(),
                           static_cast<int>(rowBytes), &libyuv::kYuvJPEGConstants,
                           static_cast<int>(buffer.width()), static_cast<int>(buffer.height()));
  return CGImage::create(buffer.width(), buffer.height(), rowBytes, BGRA, std::move(memory),
                         rowBytes * buffer.height());
}

}  // namespace

std::shared_ptr<CGImage> VTCreateCGImageFromCVPixelBuffer(const std::shared_ptr<CVPixelBuffer>& pixelBuffer) {
  if (!pixelBuffer) return nullptr;
  switch (pixelBuffer->pixelFormatType()) {
    case CVPixelFormatType::ARGB32:
      return shared(pixelBuffer, ARGB);
    case CVPixelFormatType::BGRA32:
      return shared(pixelBuffer, BGRA);
    case CVPixelFormatType::oneComponent8:
      return shared(pixelBuffer, GRAY);
    case CVPixelFormatType::biPlanarFullRange420:
      return converted(*pixelBuffer);
  }
  return nullptr;
}

}  // namespace geoloom::platform
