#pragma once

#include <array>
#include <cstddef>

namespace geoloom {

/// The fixed prior boxes to which the network's outputs refer.
class SSDAnchors {
 public:
  SSDAnchors() = delete;

  static constexpr std::size_t COUNT = 1917;
  /// yMin, xMin, yMax, xMax in normalised coordinates of the network's input, not clipped.
  using Row = std::array<float, 4>;

  /// Six square grids (19, 10, 5, 3, 2, 1 cells per side) in row-major order of their cells, with three boxes
  /// per cell on the first grid and six on the others. Computed on first use; may be read from any thread.
  [[nodiscard]] static const std::array<Row, COUNT>& anchors();
};

}  // namespace geoloom
