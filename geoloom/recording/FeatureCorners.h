#pragma once

#include <vector>

namespace geoloom {

namespace platform {
class CVPixelBuffer;
}

/// A pixel of an image.
struct Corner {
  int x = 0;
  int y = 0;
  friend bool operator==(const Corner&, const Corner&) = default;
};

/// The strongest corner of every square cell of the image whose side is 1/80 of its width (the reach of a hit
/// test), where it is a corner at all; row by row. `image` is BGRA. The same image gives the same corners.
[[nodiscard]] std::vector<Corner> findCorners(const platform::CVPixelBuffer& image);

}  // namespace geoloom
