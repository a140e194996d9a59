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

/// The strongest corner of each cell with a corner, row by row. Cells are squares with sides of 1/80 of the
/// image's width, the radius of a hit test. `image` is BGRA. Deterministic.
[[nodiscard]] std::vector<Corner> findCorners(const platform::CVPixelBuffer& image);

}  // namespace geoloom
