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

/// How to transform the stored image for display; the platform's published codes.
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

/// An image with its scale and orientation for display. Immutable; may be used from several threads at once.
class GEOLOOM_EXPORT UIImage final : public NSObject {
 public:
  /// A scale of 0 means 1. Null without an image.
  [[nodiscard]] static std::shared_ptr<UIImage> create(
      std::shared_ptr<CGImage> cgImage, CGFloat scale = 1.0,
      UIImageOrientation orientation = UIImageOrientation::up);

  [[nodiscard]] const std::shared_ptr<CGImage>& cgImage() const { return cgImage_; }
  /// Pixels per point.
  [[nodiscard]] CGFloat scale() const { return scale_; }
  [[nodiscard]] UIImageOrientation imageOrientation() const { return orientation_; }
  /// As displayed, in points.
  [[nodiscard]] CGSize size() const;

  /// Draws the image as displayed into the context of UIGraphicsPushContext, stretched to `rect`, whose y
  /// grows downwards: flip the context first, with a translation by (0, height) and a scale by (1, -1).
  /// False, with nothing painted, without a context.
  bool draw(const CGRect& rect) const;

  // The conversions below are defined in geoloom/utilities/UIImageConversion.cpp.

  /// An image of a camera's buffer, orientation `right`, scale 1. A one-plane buffer is shared, not copied:
  /// changing the buffer changes the image. Null for an absent buffer.
  [[nodiscard]] static std::shared_ptr<UIImage> create(const std::shared_ptr<CVPixelBuffer>& pixelBuffer);

  /// A copy of the buffer, rendered by `context`, orientation `up`, scale 1. Null for an absent buffer.
  [[nodiscard]] static std::shared_ptr<UIImage> create(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                       const CIContext& context);

  /// An image that owns `bytes` (move them in to avoid a copy): red, green, blue and premultiplied alpha,
  /// `width * 4` bytes per row, rows from the top. Null for a size of 0 and too few bytes.
  [[nodiscard]] static std::shared_ptr<UIImage> fromByteArrayRGBA(
      std::vector<std::uint8_t> bytes, std::size_t width, std::size_t height, CGFloat scale = 0,
      UIImageOrientation orientation = UIImageOrientation::up);

  /// The same for gray, `width` bytes per row.
  [[nodiscard]] static std::shared_ptr<UIImage> fromByteArrayGray(
      std::vector<std::uint8_t> bytes, std::size_t width, std::size_t height, CGFloat scale = 0,
      UIImageOrientation orientation = UIImageOrientation::up);

  /// A new ARGB buffer with the image drawn as displayed, stretched to fill it, over black; the alpha byte is
  /// 255. Null for a size of 0.
  [[nodiscard]] std::shared_ptr<CVPixelBuffer> pixelBuffer(std::size_t width, std::size_t height) const;

  /// The same with one gray byte per pixel, by (77·R + 150·G + 29·B + 128) / 256.
  [[nodiscard]] std::shared_ptr<CVPixelBuffer> pixelBufferGray(std::size_t width, std::size_t height) const;

 private:
  UIImage(std::shared_ptr<CGImage> cgImage, CGFloat scale, UIImageOrientation orientation);

  std::shared_ptr<CGImage> cgImage_;
  CGFloat scale_;
  UIImageOrientation orientation_;
};

// The stack of contexts that UIImage draws into. Each thread has its own.

GEOLOOM_EXPORT void UIGraphicsPushContext(std::shared_ptr<CGContext> context);
/// Does nothing if the stack is empty.
GEOLOOM_EXPORT void UIGraphicsPopContext();
/// Null if the stack is empty.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CGContext> UIGraphicsGetCurrentContext();

}  // namespace geoloom::platform
