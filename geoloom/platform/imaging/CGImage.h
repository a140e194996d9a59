#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom::platform {

enum class CGColorSpace { deviceGray, deviceRGB };

/// What the alpha byte of a pixel means and where it stands; by the platform's published codes.
enum class CGImageAlphaInfo : std::uint32_t {
  none = 0,
  premultipliedLast = 1,
  premultipliedFirst = 2,
  last = 3,           ///< straight
  first = 4,          ///< straight
  noneSkipLast = 5,   ///< a byte that is ignored, written as 255
  noneSkipFirst = 6,  ///< a byte that is ignored, written as 255
};

/// Whether the bytes of a colour pixel stand as named (alpha first: A R G B) or reversed (B G R A).
enum class CGByteOrder { big, little };

/// How the bytes of a picture are to be read: 8 bits a component, gray with no alpha or colour with four
/// bytes a pixel.
struct CGPixelLayout {
  CGColorSpace space = CGColorSpace::deviceRGB;
  CGImageAlphaInfo alpha = CGImageAlphaInfo::premultipliedLast;
  CGByteOrder order = CGByteOrder::big;
  friend bool operator==(const CGPixelLayout&, const CGPixelLayout&) = default;

  [[nodiscard]] std::size_t bytesPerPixel() const { return space == CGColorSpace::deviceGray ? 1 : 4; }
  /// Gray goes with `none`, colour with any other.
  [[nodiscard]] bool isValid() const {
    return (space == CGColorSpace::deviceGray) == (alpha == CGImageAlphaInfo::none);
  }
};

/// An immutable picture: rows from the top. It shares the ownership of its bytes, so they live as long as it
/// does; whoever else owns them must not write them meanwhile.
class GEOLOOM_EXPORT CGImage final : public NSObject {
 public:
  /// No copy is made. Null for an empty picture, a layout that is not valid, rows shorter than their pixels
  /// or fewer than height * bytesPerRow bytes.
  [[nodiscard]] static std::shared_ptr<CGImage> create(std::size_t width, std::size_t height,
                                                       std::size_t bytesPerRow, CGPixelLayout layout,
                                                       std::shared_ptr<const std::uint8_t> bytes,
                                                       std::size_t byteCount);

  [[nodiscard]] std::size_t width() const { return width_; }
  [[nodiscard]] std::size_t height() const { return height_; }
  [[nodiscard]] std::size_t bytesPerRow() const { return bytesPerRow_; }
  [[nodiscard]] const CGPixelLayout& layout() const { return layout_; }
  [[nodiscard]] const std::uint8_t* bytes() const { return bytes_.get(); }

 private:
  CGImage(std::size_t width, std::size_t height, std::size_t bytesPerRow, CGPixelLayout layout,
          std::shared_ptr<const std::uint8_t> bytes);

  std::size_t width_;
  std::size_t height_;
  std::size_t bytesPerRow_;
  CGPixelLayout layout_;
  std::shared_ptr<const std::uint8_t> bytes_;
};

}  // namespace geoloom::platform
