#include "geoloom/platform/imaging/CGContext.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include <libyuv.h>

#include "geoloom/platform/imaging/Pixels.h"
#include "geoloom/platform/imaging/Scaler.h"

namespace geoloom::platform {

namespace {

bool alphaFirst(CGImageAlphaInfo alpha) {
  return alpha == CGImageAlphaInfo::premultipliedFirst || alpha == CGImageAlphaInfo::noneSkipFirst;
}
bool alphaSkipped(CGImageAlphaInfo alpha) {
  return alpha == CGImageAlphaInfo::noneSkipFirst || alpha == CGImageAlphaInfo::noneSkipLast;
}
void makeOpaque(std::uint8_t* alpha, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) alpha[4 * x] = 255;
}

// Drawing works on pixels in the order B, G, R, A, which libyuv calls ARGB.

/// Converts one row of a layout to B, G, R, A; skipped alpha becomes 255.
void readRow(const std::uint8_t* in, CGPixelLayout layout, std::uint8_t* out, std::size_t width) {
  const int n = static_cast<int>(width);
  if (layout.space == CGColorSpace::deviceGray) {
    libyuv::J400ToARGB(in, 0, out, 0, n, 1);
    return;
  }
  const bool little = layout.order == CGByteOrder::little;
  if (alphaFirst(layout.alpha)) {
    (little ? libyuv::ARGBCopy : libyuv::BGRAToARGB)(in, 0, out, 0, n, 1);
  } else {
    (little ? libyuv::RGBAToARGB : libyuv::ABGRToARGB)(in, 0, out, 0, n, 1);
  }
  if (alphaSkipped(layout.alpha)) makeOpaque(out + 3, width);
}

void writeRow(const std::uint8_t* in, CGPixelLayout layout, std::uint8_t* out, std::size_t width) {
  const int n = static_cast<int>(width);
  if (layout.space == CGColorSpace::deviceGray) {
    libyuv::ARGBToJ400(in, 0, out, 0, n, 1);
    return;
  }
  const bool little = layout.order == CGByteOrder::little;
  if (alphaFirst(layout.alpha)) {
    (little ? libyuv::ARGBCopy : libyuv::ARGBToBGRA)(in, 0, out, 0, n, 1);
  } else {
    (little ? libyuv::ARGBToRGBA : libyuv::ARGBToABGR)(in, 0, out, 0, n, 1);
  }
  if (alphaSkipped(layout.alpha)) makeOpaque(out + (alphaFirst(layout.alpha) != little ? 0 : 3), width);
}

/// One axis of a drawing: the painted pixels [begin, end) and the part of the image for them.
struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
  double imageBegin = 0;
  double imageSize = 0;
};

/// `from` and `to` are the positions of the image's first and last edge, in pixels. The span is empty if no
/// pixel is painted, and absent if a position is not finite.
std::optional<Span> spanOf(double from, double to, std::size_t imagePixels, std::size_t limit) {
  if (!std::isfinite(from) || !std::isfinite(to)) return std::nullopt;
  const double last = static_cast<double>(limit);
  const double begin = std::clamp(std::ceil(std::min(from, to) - 0.5), 0.0, last);
  const double end = std::clamp(std::ceil(std::max(from, to) - 0.5), 0.0, last);
  Span span{static_cast<std::size_t>(begin), static_cast<std::size_t>(end), 0, 0};
  if (span.begin >= span.end) return span;
  const double imagePixelsPerPixel = static_cast<double>(imagePixels) / std::abs(to - from);
  span.imageBegin = (from < to ? begin - from : from - end) * imagePixelsPerPixel;
  span.imageSize = (end - begin) * imagePixelsPerPixel;
  return span;
}

/// Pixels without padding.
struct Part {
  PixelMemory memory;
  CGPixelLayout layout;
  std::size_t width = 0;
  std::size_t height = 0;

  [[nodiscard]] const std::uint8_t* row(std::size_t y) const {
    return memory.get() + y * width * layout.bytesPerPixel();
  }
};

/// The part of the image for these spans, scaled to their size. `memory` is null if the scaler fails.
Part scaledPart(const CGImage& image, const Span& across, const Span& down) {
  Part part{nullptr, image.layout(), across.end - across.begin, down.end - down.begin};
  const PixelSource source{image.bytes(), image.width(), image.height(), image.bytesPerRow()};
  const std::size_t channels = part.layout.bytesPerPixel();
  PixelMemory memory = allocatePixels(part.width * part.height * channels);
  const PixelTarget target{memory.get(), part.width, part.height, part.width * channels};
  const SourceRegion region{across.imageBegin, down.imageBegin, across.imageSize, down.imageSize};
  if (scale(source, region, channels, target)) part.memory = std::move(memory);
  return part;
}

}  // namespace

CGContext::CGContext(std::uint8_t* data, std::size_t width, std::size_t height, std::size_t bytesPerRow,
                     CGPixelLayout layout)
    : data_(data), width_(width), height_(height), bytesPerRow_(bytesPerRow), layout_(layout) {}

void CGContext::concatenate(const CGAffineTransform& first) {
  transform_ = first.concatenated(transform_);
}

bool CGContext::draw(const CGImage& image, const CGRect& rect, const CGAffineTransform& placement) {
  const CGAffineTransform toPixels = placement.concatenated(transform_);
  const CGPoint bottomLeft = toPixels.apply(CGPoint{rect.minX(), rect.minY()});
  const CGPoint topRight = toPixels.apply(CGPoint{rect.maxX(), rect.maxY()});
  const double top = static_cast<double>(height_);
  const auto across = spanOf(bottomLeft.x, topRight.x, image.width(), width_);
  const auto down = spanOf(top - topRight.y, top - bottomLeft.y, image.height(), height_);
  if (!across || !down) return false;
  if (across->begin == across->end || down->begin == down->end) return true;
  const Part part = scaledPart(image, *across, *down);
  if (!part.memory) return false;

  const PixelMemory lines = allocatePixels(part.width * 4 * 2);
  std::uint8_t* const drawn = lines.get();
  std::uint8_t* const mirrored = drawn + part.width * 4;
  const bool mirroredAcross = topRight.x < bottomLeft.x;
  const bool mirroredDown = topRight.y < bottomLeft.y;
  for (std::size_t y = 0; y < part.height; ++y) {
    readRow(part.row(mirroredDown ? part.height - 1 - y : y), part.layout, drawn, part.width);
    if (mirroredAcross) libyuv::ARGBMirror(drawn, 0, mirrored, 0, static_cast<int>(part.width), 1);
    writeRow(mirroredAcross ? mirrored : drawn, layout_,
             data_ + (down->begin + y) * bytesPerRow_ + across->begin * layout_.bytesPerPixel(), part.width);
  }
  return true;
}

std::shared_ptr<CGImage> CGContext::makeImage() const {
  const std::size_t rowBytes = width_ * layout_.bytesPerPixel();
  PixelMemory memory = allocatePixels(rowBytes * height_);
  for (std::size_t y = 0; y < height_; ++y)
    std::memcpy(memory.get() + y * rowBytes, data_ + y * bytesPerRow_, rowBytes);
  return CGImage::create(width_, height_, rowBytes, layout_, std::move(memory), rowBytes * height_);
}

std::shared_ptr<CGContext> CGBitmapContextCreate(void* data, std::size_t width, std::size_t height,
                                                 std::size_t bitsPerComponent, std::size_t bytesPerRow,
                                                 CGColorSpace space, CGImageAlphaInfo alpha,
                                                 CGByteOrder order) {
  const CGPixelLayout layout{space, alpha, order};
  if (data == nullptr || bitsPerComponent != 8 || !layout.isValid()) return nullptr;
  if (!isAddressable(width, height, bytesPerRow, layout.bytesPerPixel())) return nullptr;
  return std::make_shared<CGContext>(static_cast<std::uint8_t*>(data), width, height, bytesPerRow, layout);
}

std::shared_ptr<CGImage> CGBitmapContextCreateImage(const CGContext& context) {
  return context.makeImage();
}

void CGContextTranslateCTM(CGContext& context, CGFloat tx, CGFloat ty) {
  context.concatenate(CGAffineTransformMakeTranslation(tx, ty));
}

void CGContextScaleCTM(CGContext& context, CGFloat sx, CGFloat sy) {
  context.concatenate(CGAffineTransformMakeScale(sx, sy));
}

}  // namespace geoloom::platform
