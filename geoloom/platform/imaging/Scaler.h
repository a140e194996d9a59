#pragma once

#include <cstddef>
#include <cstdint>

namespace geoloom::platform {

/// Where a picture is read from: rows from the top, `rowBytes` apart.
struct PixelSource {
  const std::uint8_t* data = nullptr;
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t rowBytes = 0;
};

/// Where a picture is written to.
struct PixelTarget {
  std::uint8_t* data = nullptr;
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t rowBytes = 0;
};

/// The part of a source that fills the target, in source pixels; pixel (x, y) covers [x, x+1) × [y, y+1). It
/// may lie between pixels and reach a little beyond the edges, where the picture is mirrored.
struct SourceRegion {
  double left = 0;
  double top = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const SourceRegion&, const SourceRegion&) = default;
};

enum class ScalerResult { done, outOfMemory, refused };

/// Resamples 8-bit pictures of 1 or 4 channels, each channel by itself, with a Lanczos filter of 3 lobes that
/// widens with the reduction (so that nothing aliases), columns and rows apart; what overshoots is limited to
/// 0...255 after each. Any row strides; source and target do not overlap. Any number of threads: what is
/// prepared for a pair of sizes is kept for the next call and used by one call at a time.
[[nodiscard]] ScalerResult scale(const PixelSource& source, const SourceRegion& region, std::size_t channels,
                                 const PixelTarget& target);

}  // namespace geoloom::platform
