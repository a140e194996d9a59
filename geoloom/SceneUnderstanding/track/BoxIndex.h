#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "geoloom/SceneUnderstanding/locate/BoundingBox3D.h"

namespace geoloom {

/// Finds the boxes near a region without looking at the others: a set of grids, each with cells twice as wide
/// as the one before. A box lies in one cell, that of its least corner, of the grid whose cells are just as
/// large as the box or larger, so that boxes of every size are found within a cell's reach.
class BoxIndex {
 public:
  using Item = std::uint32_t;

  /// `smallestCell` in metres, a power of two: about the usual size of what is asked for.
  explicit BoxIndex(double smallestCell) : smallestCell_(smallestCell) {}

  /// Precondition: the bounds are finite and in order.
  void insert(Item item, const BoundingBox3D& box);
  /// Precondition: `item` was inserted with this box.
  void remove(Item item, const BoundingBox3D& box);

  /// Appends every item whose box touches `region`, and some that stand near it, in no order. What touches by
  /// the rounding of single-precision sums counts as touching. Precondition: the bounds of `region` are
  /// finite and in order.
  void collect(const BoundingBox3D& region, std::vector<Item>& items) const;

 private:
  using Cell = std::array<std::int64_t, 3>;
  struct CellHash {
    std::size_t operator()(const Cell& cell) const;
  };
  using Cells = std::unordered_map<Cell, std::vector<Item>, CellHash>;
  struct Place {
    int exponent;  ///< the cell's side is two to this power
    Cell cell;
  };

  [[nodiscard]] Place placeOf(const BoundingBox3D& box) const;
  [[nodiscard]] Cells& gridOf(int exponent);

  double smallestCell_;
  std::vector<std::pair<int, Cells>> grids_;  ///< by exponent; few: rooms hold boxes of a few sizes
};

}  // namespace geoloom
