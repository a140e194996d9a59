#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom::platform {

enum class CGColorSpace { deviceGray, deviceRGB };

/// Meaning and position of the alpha byte; the platform's published codes. Straight alpha is not supported.
enum class CGImageAlphaInfo : std::uint32_t {
  none = 0,
  premultipliedLast = 1,
  premultipliedFirst = 2,
  noneSkipLast = 5,   ///< ignored when read, written as 255
  noneSkipFirst = 6,  ///< ignored when read, written as 255
};

/// Order of the bytes of a colour pixel: as named (alpha first: A R G B) or reversed (B G R A).
enum class CGByteOrder { big, little };

/// Layout of an image's bytes: 8 bits per component, gray without alpha or colour with four bytes per pixel.
struct CGPixelLayout {
  CGColorSpace space = CGColorSpace::deviceRGB;
  CGImageAlphaInfo alpha = CGImageAlphaInfo::premultipliedLast;
  CGByteOrder order = CGByteOrder::big;
  friend bool operator==(const CGPixelLayout&, const CGPixelLayout&) = default;

  [[nodiscard]] constexpr std::size_t bytesPerPixel() const {
    return space == CGColorSpace::deviceGray ? 1 : 4;
  }
  /// Gray requires `none`, colour anything else.
  [[nodiscard]] bool isValid() const {
    return (space == CGColorSpace::deviceGray) == (alpha == CGImageAlphaInfo::none);
  }
};

/// An immutable image: rows from the top. It shares ownership of its bytes; other owners must not change them
/// during its lifetime.
class GEOLOOM_EXPORT CGImage final : public NSObject {
 public:
  /// Makes no copy. Null for a size of 0, an invalid layout, rows shorter than their pixels and fewer than
  /// height * bytesPerRow bytes.
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
