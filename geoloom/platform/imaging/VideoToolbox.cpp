#include "geoloom/platform/imaging/VideoToolbox.h"

#include <utility>

#include <libyuv.h>

#include "geoloom/platform/imaging/Pixels.h"

namespace geoloom::platform {

namespace {

std::shared_ptr<CGImage> shared(const std::shared_ptr<CVPixelBuffer>& buffer) {
  return CGImage::create(buffer->width(), buffer->height(), buffer->bytesPerRow(),
                         layoutOf(buffer->pixelFormatType()),
                         std::shared_ptr<const std::uint8_t>(buffer, buffer->baseAddress()),
                         buffer->bytesPerRow() * buffer->height());
}

std::shared_ptr<CGImage> converted(const CVPixelBuffer& buffer) {
  const std::size_t rowBytes = buffer.width() * 4;
  if (!isAddressable(buffer.width(), buffer.height(), rowBytes, 4)) return nullptr;
  PixelMemory memory = allocatePixels(rowBytes * buffer.height());
  libyuv::NV12ToARGBMatrix(buffer.baseAddress(0), static_cast<int>(buffer.bytesPerRow(0)),
                           buffer.baseAddress(1), static_cast<int>(buffer.bytesPerRow(1)), memory.get(),
                           static_cast<int>(rowBytes), &libyuv::kYuvJPEGConstants,
                           static_cast<int>(buffer.width()), static_cast<int>(buffer.height()));
  return CGImage::create(buffer.width(), buffer.height(), rowBytes, layoutOf(buffer.pixelFormatType()),
                         std::move(memory), rowBytes * buffer.height());
}

}  // namespace

std::shared_ptr<CGImage> VTCreateCGImageFromCVPixelBuffer(const std::shared_ptr<CVPixelBuffer>& pixelBuffer) {
  if (!pixelBuffer) return nullptr;
  return pixelBuffer->planeCount() == 1 ? shared(pixelBuffer) : converted(*pixelBuffer);
}

}  // namespace geoloom::platform
