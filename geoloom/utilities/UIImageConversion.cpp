#include <cstring>
#include <memory>
#include <utility>

#include "geoloom/base/ScopeExit.h"
#include "geoloom/platform/imaging/CIContext.h"
#include "geoloom/platform/imaging/UIImage.h"
#include "geoloom/platform/imaging/VideoToolbox.h"

// The conversions of platform::UIImage from and to pixel buffers and bytes.

namespace geoloom::platform {

namespace {

std::shared_ptr<UIImage> fromBytes(std::vector<std::uint8_t> bytes, std::size_t width, std::size_t height,
                                   const CGPixelLayout& layout, CGFloat scale,
                                   UIImageOrientation orientation) {
  if (width > bytes.size()) return nullptr;  // else the bytes per row could overflow
  const auto owner = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
  return UIImage::create(
      CGImage::create(width, height, width * layout.bytesPerPixel(), layout,
                      std::shared_ptr<const std::uint8_t>(owner, owner->data()), owner->size()),
      scale, orientation);
}

void clear(CVPixelBuffer& buffer) {
  std::memset(buffer.baseAddress(), 0, buffer.bytesPerRow() * buffer.height());
}

/// Draws the image over a whole locked buffer.
bool drawInto(const UIImage& image, CVPixelBuffer& buffer, const CGPixelLayout& layout) {
  const auto context = CGBitmapContextCreate(buffer.baseAddress(), buffer.width(), buffer.height(), 8,
                                             buffer.bytesPerRow(), layout.space, layout.alpha, layout.order);
  if (!context) return false;
  const CGRect all{{0, 0}, {static_cast<CGFloat>(buffer.width()), static_cast<CGFloat>(buffer.height())}};
  UIGraphicsPushContext(context);
  const base::ScopeExit pop([] { UIGraphicsPopContext(); });
  CGContextTranslateCTM(*context, 0, all.height());
  CGContextScaleCTM(*context, 1, -1);
  return image.draw(all);
}

std::shared_ptr<CVPixelBuffer> drawn(const UIImage& image, std::size_t width, std::size_t height,
                                     CVPixelFormatType format, const CGPixelLayout& layout) {
  auto buffer = CVPixelBuffer::create(width, height, format);
  if (!buffer) return nullptr;
  const CVPixelBufferLock lock(*buffer);
  clear(*buffer);
  return drawInto(image, *buffer, layout) ? buffer : nullptr;
}

constexpr CGPixelLayout GRAY_BYTES{CGColorSpace::deviceGray, CGImageAlphaInfo::none};

}  // namespace

std::shared_ptr<UIImage> UIImage::create(const std::shared_ptr<CVPixelBuffer>& pixelBuffer) {
  return create(VTCreateCGImageFromCVPixelBuffer(pixelBuffer), 1.0, UIImageOrientation::right);
}

std::shared_ptr<UIImage> UIImage::create(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                         const CIContext& context) {
  const CIImage image(pixelBuffer);
  return create(context.createCGImage(image, image.extent()), 1.0, UIImageOrientation::up);
}

std::shared_ptr<UIImage> UIImage::fromByteArrayRGBA(std::vector<std::uint8_t> bytes, std::size_t width,
                                                    std::size_t height, CGFloat scale,
                                                    UIImageOrientation orientation) {
  constexpr CGPixelLayout RGBA_BYTES{CGColorSpace::deviceRGB, CGImageAlphaInfo::premultipliedLast};
  return fromBytes(std::move(bytes), width, height, RGBA_BYTES, scale, orientation);
}

std::shared_ptr<UIImage> UIImage::fromByteArrayGray(std::vector<std::uint8_t> bytes, std::size_t width,
                                                    std::size_t height, CGFloat scale,
                                                    UIImageOrientation orientation) {
  return fromBytes(std::move(bytes), width, height, GRAY_BYTES, scale, orientation);
}

std::shared_ptr<CVPixelBuffer> UIImage::pixelBuffer(std::size_t width, std::size_t height) const {
  constexpr CGPixelLayout ARGB_PIXELS{CGColorSpace::deviceRGB, CGImageAlphaInfo::noneSkipFirst};
  return drawn(*this, width, height, CVPixelFormatType::ARGB32, ARGB_PIXELS);
}

std::shared_ptr<CVPixelBuffer> UIImage::pixelBufferGray(std::size_t width, std::size_t height) const {
  return drawn(*this, width, height, CVPixelFormatType::oneComponent8, GRAY_BYTES);
}

}  // namespace geoloom::platform
