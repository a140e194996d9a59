#pragma once

#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/imaging/CGAffineTransform.h"
#include "geoloom/platform/imaging/CGImage.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

/// What is to be made of a pixel buffer: a recipe, nothing is computed before a context renders it. Its
/// coordinates have the origin at the bottom left of the buffer, y upwards. It keeps the buffer alive and
/// shows what it holds when rendered.
class GEOLOOM_EXPORT CIImage {
 public:
  explicit CIImage(std::shared_ptr<CVPixelBuffer> pixelBuffer);

  [[nodiscard]] const std::shared_ptr<CVPixelBuffer>& pixelBuffer() const { return pixelBuffer_; }
  [[nodiscard]] const CGAffineTransform& transform() const { return transform_; }
  /// Where the picture lies; empty without a buffer.
  [[nodiscard]] CGRect extent() const;
  /// The same with `by` applied after what is applied already.
  [[nodiscard]] CIImage transformed(const CGAffineTransform& by) const;

 private:
  std::shared_ptr<CVPixelBuffer> pixelBuffer_;
  CGAffineTransform transform_;
};

/// Renders recipes. It has no state of its own; what is prepared for a size is kept by the scaler beneath.
/// Any number of threads.
class GEOLOOM_EXPORT CIContext final : public NSObject {
 public:
  /// Puts the part of the image that lies over the buffer (its origin at the buffer's bottom left) into a
  /// one-plane buffer, which is locked meanwhile; what the image does not cover becomes 0. False, when the
  /// buffer has two planes or memory does not suffice; it may then hold nothing in particular.
  bool render(const CIImage& image, CVPixelBuffer& to) const;

  /// The part of the image within `from`, whose sizes are rounded to pixels, as a picture of its own: gray
  /// for a gray buffer, else premultiplied B, G, R, A. Null for an empty rectangle and without memory.
  [[nodiscard]] std::shared_ptr<CGImage> createCGImage(const CIImage& image, const CGRect& from) const;
};

}  // namespace geoloom::platform
