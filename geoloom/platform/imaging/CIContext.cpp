#include "geoloom/platform/imaging/CIContext.h"

#include <cmath>
#include <cstring>
#include <utility>

#include "geoloom/platform/imaging/CGContext.h"
#include "geoloom/platform/imaging/Pixels.h"
#include "geoloom/platform/imaging/VideoToolbox.h"

namespace geoloom::platform {

namespace {

CGRect boundsOf(const CVPixelBuffer& buffer) {
  return {{0, 0}, {static_cast<CGFloat>(buffer.width()), static_cast<CGFloat>(buffer.height())}};
}

bool covers(const CGRect& outer, CGFloat width, CGFloat height) {
  return outer.minX() <= 0 && outer.minY() <= 0 && outer.maxX() >= width && outer.maxY() >= height;
}

/// Fills `context`, whose bottom left is at `origin` in the image's coordinates.
bool renderInto(CGContext& context, std::uint8_t* data, const CIImage& image, const CGPoint& origin) {
  const auto picture = VTCreateCGImageFromCVPixelBuffer(image.pixelBuffer());
  if (!picture) return false;
  const CIImage placed = image.transformed(CGAffineTransformMakeTranslation(-origin.x, -origin.y));
  const auto width = static_cast<CGFloat>(context.width());
  const auto height = static_cast<CGFloat>(context.height());
  if (!covers(placed.extent(), width, height)) {
    const std::size_t rowBytes = context.width() * context.layout().bytesPerPixel();
    for (std::size_t y = 0; y < context.height(); ++y)
      std::memset(data + y * context.bytesPerRow(), 0, rowBytes);
  }
  return context.draw(*picture, boundsOf(*image.pixelBuffer()), placed.transform());
}

}  // namespace

CIImage::CIImage(std::shared_ptr<CVPixelBuffer> pixelBuffer) : pixelBuffer_(std::move(pixelBuffer)) {}

CGRect CIImage::extent() const {
  return pixelBuffer_ ? transform_.apply(boundsOf(*pixelBuffer_)) : CGRect{};
}

CIImage CIImage::transformed(const CGAffineTransform& by) const {
  CIImage result = *this;
  result.transform_ = transform_.concatenated(by);
  return result;
}

bool CIContext::render(const CIImage& image, CVPixelBuffer& to) const {
  if (to.planeCount() != 1) return false;
  const CVPixelBufferLock lock(to);
  CGContext context(to.baseAddress(), to.width(), to.height(), to.bytesPerRow(),
                    layoutOf(to.pixelFormatType()));
  return renderInto(context, to.baseAddress(), image, {0, 0});
}

std::shared_ptr<CGImage> CIContext::createCGImage(const CIImage& image, const CGRect& from) const {
  if (!image.pixelBuffer() || !std::isfinite(from.width()) || !std::isfinite(from.height())) return nullptr;
  constexpr CGFloat LARGEST_SIDE = 1 << 29;
  const auto width = static_cast<std::size_t>(std::fmin(std::round(from.width()), LARGEST_SIDE));
  const auto height = static_cast<std::size_t>(std::fmin(std::round(from.height()), LARGEST_SIDE));
  const CVPixelFormatType format = image.pixelBuffer()->pixelFormatType();
  const CGPixelLayout layout =
      layoutOf(format == CVPixelFormatType::ARGB32 ? CVPixelFormatType::BGRA32 : format);
  const std::size_t rowBytes = width * layout.bytesPerPixel();
  if (!isAddressable(width, height, rowBytes, layout.bytesPerPixel())) return nullptr;
  PixelMemory memory = allocatePixels(rowBytes * height);
  CGContext context(memory.get(), width, height, rowBytes, layout);
  if (!renderInto(context, memory.get(), image, {from.minX(), from.minY()})) return nullptr;
  return CGImage::create(width, height, rowBytes, layout, std::move(memory), rowBytes * height);
}

}  // namespace geoloom::platform
