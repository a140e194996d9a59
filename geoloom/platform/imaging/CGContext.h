#pragma once

#include <cstddef>
#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/imaging/CGAffineTransform.h"
#include "geoloom/platform/imaging/CGImage.h"

namespace geoloom::platform {

/// Draws into memory that the caller owns and keeps alive. The origin of the coordinates is at the bottom
/// left and y grows upwards, although memory begins with the top row. The transformation maps the coordinates
/// of a drawing to these. Use it on one thread at a time.
class GEOLOOM_EXPORT CGContext final : public NSObject {
 public:
  /// See CGBitmapContextCreate.
  CGContext(std::uint8_t* data, std::size_t width, std::size_t height, std::size_t bytesPerRow,
            CGPixelLayout layout);

  [[nodiscard]] std::size_t width() const { return width_; }
  [[nodiscard]] std::size_t height() const { return height_; }
  [[nodiscard]] std::size_t bytesPerRow() const { return bytesPerRow_; }
  [[nodiscard]] const CGPixelLayout& layout() const { return layout_; }
  [[nodiscard]] const CGAffineTransform& transform() const { return transform_; }

  /// From now on `first` is applied to coordinates before the current transformation.
  void concatenate(const CGAffineTransform& first);

  /// Draws the image into `rect`, stretched to fill it, its top row at the larger y. `placement` is applied
  /// to `rect` first, for this drawing only. A pixel is replaced, not blended, if its centre lies inside.
  /// Colour becomes gray by (77·R + 150·G + 29·B + 128) / 256, the weights of BT.601. False, with nothing
  /// painted, for a rectangle that is not finite or too large for the scaler.
  bool draw(const CGImage& image, const CGRect& rect, const CGAffineTransform& placement = {});

  /// A copy of the pixels.
  [[nodiscard]] std::shared_ptr<CGImage> makeImage() const;

 private:
  std::uint8_t* data_;
  std::size_t width_;
  std::size_t height_;
  std::size_t bytesPerRow_;
  CGPixelLayout layout_;
  CGAffineTransform transform_;
};

/// A context over `data`: gray without alpha, or colour with premultiplied or skipped alpha. Null for any
/// other layout, absent memory, a size of 0, a depth other than 8 bits and rows shorter than their pixels.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CGContext> CGBitmapContextCreate(
    void* data, std::size_t width, std::size_t height, std::size_t bitsPerComponent, std::size_t bytesPerRow,
    CGColorSpace space, CGImageAlphaInfo alpha, CGByteOrder order = CGByteOrder::big);
/// CGContext::makeImage.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CGImage> CGBitmapContextCreateImage(const CGContext& context);
GEOLOOM_EXPORT void CGContextTranslateCTM(CGContext& context, CGFloat tx, CGFloat ty);
GEOLOOM_EXPORT void CGContextScaleCTM(CGContext& context, CGFloat sx, CGFloat sy);

}  // namespace geoloom::platform
