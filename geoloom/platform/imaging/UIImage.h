#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/imaging/CGContext.h"
#include "geoloom/platform/imaging/CGImage.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

class CIContext;

/// How the stored picture is to be turned for display; by the platform's published codes.
enum class UIImageOrientation : int {
  up = 0,
  down = 1,          ///< by 180 degrees
  left = 2,          ///< by 90 degrees counter-clockwise
  right = 3,         ///< by 90 degrees clockwise
  upMirrored = 4,    ///< left and right exchanged
  downMirrored = 5,  ///< top and bottom exchanged
  leftMirrored = 6,  ///< rows and columns exchanged
  rightMirrored = 7  ///< rows and columns exchanged, then by 180 degrees
};

/// A picture together with how it is shown. Immutable; shared by any number of threads.
class GEOLOOM_EXPORT UIImage final : public NSObject {
 public:
  /// A scale of 0 means 1. Null without a picture.
  [[nodiscard]] static std::shared_ptr<UIImage> create(
      std::shared_ptr<CGImage> cgImage, CGFloat scale = 1.0,
      UIImageOrientation orientation = UIImageOrientation::up);

  [[nodiscard]] const std::shared_ptr<CGImage>& cgImage() const { return cgImage_; }
  /// Pixels a point.
  [[nodiscard]] CGFloat scale() const { return scale_; }
  [[nodiscard]] UIImageOrientation imageOrientation() const { return orientation_; }
  /// As displayed, in points.
  [[nodiscard]] CGSize size() const;

  /// Draws the picture as it is displayed into the context of UIGraphicsPushContext, stretched to `rect`,
  /// whose y grows downwards: the context must have been turned over, by a translation by (0, height) and a
  /// scale by (1, -1), or the picture stands on its head. False, with nothing painted, without a context or
  /// memory.
  bool draw(const CGRect& rect) const;

  // The conversions that follow are the kit's; geoloom/utilities/UIImageConversion.cpp has them.

  /// A picture of a camera's buffer, orientation `right`, scale 1. One-plane buffers are shared, not copied:
  /// whoever writes the buffer writes the picture. Null without memory.
  [[nodiscard]] static std::shared_ptr<UIImage> create(const std::shared_ptr<CVPixelBuffer>& pixelBuffer);

  /// A picture that `context` makes of the buffer, a copy, orientation `up`, scale 1. Null without memory.
  [[nodiscard]] static std::shared_ptr<UIImage> create(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                       const CIContext& context);

  /// A picture of `bytes`, which the picture takes over without a copy (move them in): red, green, blue and
  /// premultiplied alpha, `width * 4` bytes a row, rows from the top. Null unless the sizes are positive and
  /// the bytes suffice.
  [[nodiscard]] static std::shared_ptr<UIImage> fromByteArrayRGBA(
      std::vector<std::uint8_t> bytes, std::ptrdiff_t width, std::ptrdiff_t height, CGFloat scale = 0,
      UIImageOrientation orientation = UIImageOrientation::up);

  /// The same for gray, `width` bytes a row.
  [[nodiscard]] static std::shared_ptr<UIImage> fromByteArrayGray(
      std::vector<std::uint8_t> bytes, std::ptrdiff_t width, std::ptrdiff_t height, CGFloat scale = 0,
      UIImageOrientation orientation = UIImageOrientation::up);

  /// A new ARGB buffer with the picture drawn into it as it is displayed, stretched to fill it, over black;
  /// the alpha byte is 255. Null for sizes that are not positive and without memory.
  [[nodiscard]] std::shared_ptr<CVPixelBuffer> pixelBuffer(std::ptrdiff_t width, std::ptrdiff_t height) const;

  /// The same as one gray byte a pixel, by (77·R + 150·G + 29·B + 128) / 256.
  [[nodiscard]] std::shared_ptr<CVPixelBuffer> pixelBufferGray(std::ptrdiff_t width,
                                                               std::ptrdiff_t height) const;

 private:
  UIImage(std::shared_ptr<CGImage> cgImage, CGFloat scale, UIImageOrientation orientation);

  std::shared_ptr<CGImage> cgImage_;
  CGFloat scale_;
  UIImageOrientation orientation_;
};

// The contexts that UIImage draws into: a stack of each thread's own.

GEOLOOM_EXPORT void UIGraphicsPushContext(std::shared_ptr<CGContext> context);
/// Does nothing when the stack is empty.
GEOLOOM_EXPORT void UIGraphicsPopContext();
/// Null when the stack is empty.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CGContext> UIGraphicsGetCurrentContext();

}  // namespace geoloom::platform
