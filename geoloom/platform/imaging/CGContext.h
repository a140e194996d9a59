#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/imaging/CGAffineTransform.h"
#include "geoloom/platform/imaging/CGImage.h"

namespace geoloom::platform {

/// How drawn pixels meet those that are there: laid over them by their alpha, or put in their place.
enum class CGBlendMode { normal, copy };

/// A place to draw, over the memory of someone else, who keeps it alive. Its own coordinates have the origin
/// at the bottom left with y upwards, while rows of memory go from the top. A transformation, kept on a
/// stack, leads from what the drawing says to these coordinates. One thread at a time.
class GEOLOOM_EXPORT CGContext final : public NSObject {
 public:
  /// See CGBitmapContextCreate.
  CGContext(std::uint8_t* data, std::size_t width, std::size_t height, std::size_t bytesPerRow,
            CGPixelLayout layout);

  [[nodiscard]] std::size_t width() const { return width_; }
  [[nodiscard]] std::size_t height() const { return height_; }
  [[nodiscard]] std::size_t bytesPerRow() const { return bytesPerRow_; }
  [[nodiscard]] const CGPixelLayout& layout() const { return layout_; }
  [[nodiscard]] const CGAffineTransform& transform() const { return states_.back().transform; }

  void saveGState();
  /// Does nothing when there is nothing saved.
  void restoreGState();
  /// What is drawn from now on goes through `first` before the transformations that are there.
  void concatenate(const CGAffineTransform& first);
  void setBlendMode(CGBlendMode mode);

  /// Draws the image into `rect`, stretched to fill it, its top row at the larger y. A pixel is painted when
  /// its centre lies inside; colour becomes gray by (77·R + 150·G + 29·B + 128) / 256, the weights of BT.601.
  /// False, with nothing painted, when memory does not suffice or the rectangle is no place (not a number, or
  /// beyond what a picture can hold).
  bool draw(const CGImage& image, const CGRect& rect);

  /// A copy of what is painted; null when memory does not suffice.
  [[nodiscard]] std::shared_ptr<CGImage> makeImage() const;

 private:
  struct State {
    CGAffineTransform transform;
    CGBlendMode blendMode = CGBlendMode::normal;
  };

  std::uint8_t* data_;
  std::size_t width_;
  std::size_t height_;
  std::size_t bytesPerRow_;
  CGPixelLayout layout_;
  std::vector<State> states_;
};

/// A context over `data`: gray without alpha, or colour with an alpha that is premultiplied or skipped. Null
/// for absent memory, an empty picture, other than 8 bits, rows shorter than their pixels or another layout.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CGContext> CGBitmapContextCreate(
    void* data, std::size_t width, std::size_t height, std::size_t bitsPerComponent, std::size_t bytesPerRow,
    CGColorSpace space, CGImageAlphaInfo alpha, CGByteOrder order = CGByteOrder::big);
/// CGContext::makeImage.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CGImage> CGBitmapContextCreateImage(const CGContext& context);
GEOLOOM_EXPORT void CGContextTranslateCTM(CGContext& context, CGFloat tx, CGFloat ty);
GEOLOOM_EXPORT void CGContextScaleCTM(CGContext& context, CGFloat sx, CGFloat sy);

}  // namespace geoloom::platform
