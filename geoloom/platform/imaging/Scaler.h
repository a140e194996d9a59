#pragma once

#include <cstddef>
#include <cstdint>

namespace geoloom::platform {

/// An image to read: rows from the top, `rowBytes` apart.
struct PixelSource {
  const std::uint8_t* data = nullptr;
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t rowBytes = 0;
};

/// An image to write.
struct PixelTarget {
  std::uint8_t* data = nullptr;
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t rowBytes = 0;
};

/// The part of a source that fills the target, in source pixels; pixel (x, y) covers [x, x+1) × [y, y+1). It
/// may begin between pixels and extend a little beyond the edges; the image is mirrored there.
struct SourceRegion {
  double left = 0;
  double top = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const SourceRegion&, const SourceRegion&) = default;
};

/// Resamples 8-bit images of 1 or 4 channels, each channel separately, with a Lanczos filter of 3 lobes that
/// is widened for a reduction, so that nothing aliases; first one axis, then the other, limited to 0...255
/// after each. Any row strides; source and target must not overlap. May be called from several threads at
/// once; each keeps the prepared filter of its last call. False for sizes that zimg rejects.
[[nodiscard]] bool scale(const PixelSource& source, const SourceRegion& region, std::size_t channels,
                         const PixelTarget& target);

}  // namespace geoloom::platform
