#include <cstring>
#include <memory>
#include <utility>

#include "geoloom/base/ScopeExit.h"
#include "geoloom/base/WhereMemorySuffices.h"
#include "geoloom/platform/imaging/CIContext.h"
#include "geoloom/platform/imaging/UIImage.h"
#include "geoloom/platform/imaging/VideoToolbox.h"

// The kit's part of platform::UIImage: from and to pixel buffers and bytes.

namespace geoloom::platform {

namespace {

std::shared_ptr<UIImage> fromBytes(std::vector<std::uint8_t> bytes, std::ptrdiff_t width,
                                   std::ptrdiff_t height, const CGPixelLayout& layout, CGFloat scale,
                                   UIImageOrientation orientation) {
  if (width <= 0 || height <= 0) return nullptr;
  return base::whereMemorySuffices([&] {
    const auto owner = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
    return UIImage::create(
        CGImage::create(static_cast<std::size_t>(width), static_cast<std::size_t>(height),
                        static_cast<std::size_t>(width) * layout.bytesPerPixel(), layout,
                        std::shared_ptr<const std::uint8_t>(owner, owner->data()), owner->size()),
        scale, orientation);
  });
}

void clear(CVPixelBuffer& buffer) {
  std::memset(buffer.baseAddress(), 0, buffer.bytesPerRow() * buffer.height());
}

/// Draws the image into all of a locked buffer.
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

std::shared_ptr<CVPixelBuffer> drawn(const UIImage& image, std::ptrdiff_t width, std::ptrdiff_t height,
                                     CVPixelFormatType format, const CGPixelLayout& layout) {
  if (width <= 0 || height <= 0) return nullptr;
  auto buffer =
      CVPixelBuffer::create(static_cast<std::size_t>(width), static_cast<std::size_t>(height), format);
  if (!buffer) return nullptr;
  buffer->lockBaseAddress();
  const base::ScopeExit unlock([&] { buffer->unlockBaseAddress(); });
  clear(*buffer);
  const bool done = base::whereMemorySuffices([&] { return drawInto(image, *buffer, layout); });
  return done ? buffer : nullptr;
}

constexpr CGPixelLayout grayBytes{CGColorSpace::deviceGray, CGImageAlphaInfo::none};

}  // namespace

std::shared_ptr<UIImage> UIImage::create(const std::shared_ptr<CVPixelBuffer>& pixelBuffer) {
  return base::whereMemorySuffices(
      [&] { return create(VTCreateCGImageFromCVPixelBuffer(pixelBuffer), 1.0, UIImageOrientation::right); });
}

std::shared_ptr<UIImage> UIImage::create(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                         const CIContext& context) {
  return base::whereMemorySuffices([&] {
    const CIImage image(pixelBuffer);
    return create(context.createCGImage(image, image.extent()), 1.0, UIImageOrientation::up);
  });
}

std::shared_ptr<UIImage> UIImage::fromByteArrayRGBA(std::vector<std::uint8_t> bytes, std::ptrdiff_t width,
                                                    std::ptrdiff_t height, CGFloat scale,
                                                    UIImageOrientation orientation) {
  constexpr CGPixelLayout rgba{CGColorSpace::deviceRGB, CGImageAlphaInfo::premultipliedLast};
  return fromBytes(std::move(bytes), width, height, rgba, scale, orientation);
}

std::shared_ptr<UIImage> UIImage::fromByteArrayGray(std::vector<std::uint8_t> bytes, std::ptrdiff_t width,
                                                    std::ptrdiff_t height, CGFloat scale,
                                                    UIImageOrientation orientation) {
  return fromBytes(std::move(bytes), width, height, grayBytes, scale, orientation);
}

std::shared_ptr<CVPixelBuffer> UIImage::pixelBuffer(std::ptrdiff_t width, std::ptrdiff_t height) const {
  constexpr CGPixelLayout argb{CGColorSpace::deviceRGB, CGImageAlphaInfo::noneSkipFirst};
  return drawn(*this, width, height, CVPixelFormatType::ARGB32, argb);
}

std::shared_ptr<CVPixelBuffer> UIImage::pixelBufferGray(std::ptrdiff_t width, std::ptrdiff_t height) const {
  return drawn(*this, width, height, CVPixelFormatType::oneComponent8, grayBytes);
}

}  // namespace geoloom::platform
