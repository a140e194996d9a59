#pragma once

#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/imaging/CGAffineTransform.h"
#include "geoloom/platform/imaging/CGImage.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

/// A pixel buffer and a transformation, rendered later by a CIContext. The origin of the coordinates is the
/// bottom left of the buffer; y grows upwards. The image keeps the buffer alive; rendering reads the pixels
/// that the buffer has then.
class GEOLOOM_EXPORT CIImage {
 public:
  explicit CIImage(std::shared_ptr<CVPixelBuffer> pixelBuffer);

  [[nodiscard]] const std::shared_ptr<CVPixelBuffer>& pixelBuffer() const { return pixelBuffer_; }
  [[nodiscard]] const CGAffineTransform& transform() const { return transform_; }
  /// The rectangle that the image covers; empty without a buffer.
  [[nodiscard]] CGRect extent() const;
  /// The same image with `by` applied after the current transformation.
  [[nodiscard]] CIImage transformed(const CGAffineTransform& by) const;

 private:
  std::shared_ptr<CVPixelBuffer> pixelBuffer_;
  CGAffineTransform transform_;
};

/// Renders images. It has no state and may be used from several threads at once.
class GEOLOOM_EXPORT CIContext final : public NSObject {
 public:
  /// Renders the image into a one-plane buffer, which is locked during the call; the origin of the image's
  /// coordinates is the buffer's bottom left. Pixels outside the image become 0. False for a buffer with two
  /// planes, an absent source buffer and a transformation that is not finite; the pixels are then undefined.
  bool render(const CIImage& image, CVPixelBuffer& to) const;

  /// A copy of the part of the image within `from`, whose size is rounded to pixels: gray for a gray
  /// buffer, else premultiplied B, G, R, A. Null for an absent buffer and an empty rectangle.
  [[nodiscard]] std::shared_ptr<CGImage> createCGImage(const CIImage& image, const CGRect& from) const;
};

}  // namespace geoloom::platform
