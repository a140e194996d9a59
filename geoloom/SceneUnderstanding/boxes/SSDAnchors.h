#pragma once

#include <array>
#include <cstddef>

namespace geoloom {

/// The fixed prior boxes that the network's outputs refer to.
class SSDAnchors {
 public:
  SSDAnchors() = delete;

  static constexpr std::size_t count = 1917;
  /// yMin, xMin, yMax, xMax in coordinates of the network's input, not clipped.
  using Row = std::array<float, 4>;

  /// Six square grids (19, 10, 5, 3, 2, 1 cells a side), each cell by cell in row-major order, three boxes a
  /// cell on the first grid and six on the others. Made on first use; may be read from any thread.
  [[nodiscard]] static const std::array<Row, count>& anchors();
};

}  // namespace geoloom
