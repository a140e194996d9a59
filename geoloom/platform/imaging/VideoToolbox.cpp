#include "geoloom/platform/imaging/VideoToolbox.h"

#include <utility>

#include <libyuv.h>

#include "geoloom/platform/imaging/Pixels.h"

namespace geoloom::platform {

namespace {

constexpr CGPixelLayout gray{CGColorSpace::deviceGray, CGImageAlphaInfo::none, CGByteOrder::big};
constexpr CGPixelLayout argb{CGColorSpace::deviceRGB, CGImageAlphaInfo::premultipliedFirst, CGByteOrder::big};
constexpr CGPixelLayout bgra{CGColorSpace::deviceRGB, CGImageAlphaInfo::premultipliedFirst,
                             CGByteOrder::little};

std::shared_ptr<CGImage> shared(const std::shared_ptr<CVPixelBuffer>& buffer, CGPixelLayout layout) {
  const std::size_t bytes = buffer->bytesPerRow() * buffer->height();
  return CGImage::create(buffer->width(), buffer->height(), buffer->bytesPerRow(), layout,
                         std::shared_ptr<const std::uint8_t>(buffer, buffer->baseAddress()), bytes);
}

std::shared_ptr<CGImage> converted(const CVPixelBuffer& buffer) {
  const std::size_t rowBytes = buffer.width() * 4;
  if (!isPicture(buffer.width(), buffer.height(), rowBytes, 4)) return nullptr;
  PixelMemory memory = allocatePixels(rowBytes * buffer.height());
  if (!memory) return nullptr;
  libyuv::NV12ToARGBMatrix(buffer.baseAddress(0), static_cast<int>(buffer.bytesPerRow(0)),
                           buffer.baseAddress(1), static_cast<int>(buffer.bytesPerRow(1)), memory.get(),
                           static_cast<int>(rowBytes), &libyuv::kYuvJPEGConstants,
                           static_cast<int>(buffer.width()), static_cast<int>(buffer.height()));
  return CGImage::create(buffer.width(), buffer.height(), rowBytes, bgra, std::move(memory),
                         rowBytes * buffer.height());
}

}  // namespace

std::shared_ptr<CGImage> VTCreateCGImageFromCVPixelBuffer(const std::shared_ptr<CVPixelBuffer>& pixelBuffer) {
  if (!pixelBuffer) return nullptr;
  switch (pixelBuffer->pixelFormatType()) {
    case CVPixelFormatType::ARGB32:
      return shared(pixelBuffer, argb);
    case CVPixelFormatType::BGRA32:
      return shared(pixelBuffer, bgra);
    case CVPixelFormatType::oneComponent8:
      return shared(pixelBuffer, gray);
    case CVPixelFormatType::biPlanarFullRange420:
      return converted(*pixelBuffer);
  }
  return nullptr;
}

}  // namespace geoloom::platform
