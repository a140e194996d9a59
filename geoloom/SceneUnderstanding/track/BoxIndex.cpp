#include "geoloom/SceneUnderstanding/track/BoxIndex.h"

#include <algorithm>
#include <cmath>

#include "geoloom/base/Precondition.h"

namespace geoloom {
namespace {

/// Cells are numbered within this range: where coordinates are so large that the range would not do, cells
/// are larger.
constexpr double LARGEST_CELL_NUMBER = 0x1p40;

/// How far beyond their bounds two boxes may stand and still overlap by the rounding of single-precision
/// sums, as a part of their size: five roundings of 2^-24 each, and some room.
constexpr double ROUNDING = 1e-6;

struct Axis {
  double low;
  double high;
};

std::array<Axis, 3> axesOf(const BoundingBox3D& box) {
  return {{{box.minX, box.maxX}, {box.minY, box.maxY}, {box.minZ, box.maxZ}}};
}

std::int64_t cellNumber(double coordinate, double side) {
  const double number = std::floor(coordinate / side);
  return static_cast<std::int64_t>(std::clamp(number, -2 * LARGEST_CELL_NUMBER, 2 * LARGEST_CELL_NUMBER));
}

}  // namespace

std::size_t BoxIndex::CellHash::operator()(const Cell& cell) const {
  std::uint64_t hash = 0;
  for (const std::int64_t number : cell) {
    hash = (hash ^ static_cast<std::uint64_t>(number)) * 0x9E3779B97F4A7C15U;
    hash ^= hash >> 32U;
  }
  return hash;
}

BoxIndex::Place BoxIndex::placeOf(const BoundingBox3D& box) const {
  double side = smallestCell_;
  for (const Axis& axis : axesOf(box)) {
    const double farthest = std::max(std::abs(axis.low), std::abs(axis.high));
    side = std::max({side, axis.high - axis.low, farthest / LARGEST_CELL_NUMBER});
  }
  Place place{};
  if (std::frexp(side, &place.exponent) == 0.5) --place.exponent;
  side = std::ldexp(1.0, place.exponent);
  place.cell = {cellNumber(box.minX, side), cellNumber(box.minY, side), cellNumber(box.minZ, side)};
  return place;
}

BoxIndex::Cells& BoxIndex::gridOf(int exponent) {
  const auto at = std::lower_bound(grids_.begin(), grids_.end(), exponent,
                                   [](const auto& grid, int wanted) { return grid.first < wanted; });
  if (at != grids_.end() && at->first == exponent) return at->second;
  return grids_.emplace(at, exponent, Cells{})->second;
}

void BoxIndex::insert(Item item, const BoundingBox3D& box) {
  const Place place = placeOf(box);
  gridOf(place.exponent)[place.cell].push_back(item);
}

void BoxIndex::remove(Item item, const BoundingBox3D& box) {
  const Place place = placeOf(box);
  Cells& cells = gridOf(place.exponent);
  const auto cell = cells.find(place.cell);
  GEOLOOM_PRECONDITION(cell != cells.end(), "BoxIndex: the item was not inserted with this box");
  std::vector<Item>& items = cell->second;
  const auto at = std::find(items.begin(), items.end(), item);
  GEOLOOM_PRECONDITION(at != items.end(), "BoxIndex: the item was not inserted with this box");
  *at = items.back();
  items.pop_back();
  if (items.empty()) cells.erase(cell);
}

void BoxIndex::collect(const BoundingBox3D& region, std::vector<Item>& items) const {
  const auto axes = axesOf(region);
  const auto append = [&](const std::vector<Item>& found) {
    items.insert(items.end(), found.begin(), found.end());
  };
  for (const auto& [exponent, cells] : grids_) {
    if (cells.empty()) continue;
    const double side = std::ldexp(1.0, exponent);
    Cell first{};
    Cell last{};
    double count = 1;
    for (std::size_t k = 0; k < 3; ++k) {
      const double reach = ROUNDING * (axes[k].high - axes[k].low + side);
      // One cell back: a box reaches from the cell of its least corner into the next one at most.
      first[k] = cellNumber(axes[k].low - reach, side) - 1;
      last[k] = cellNumber(axes[k].high + reach, side);
      count *= static_cast<double>(last[k] - first[k] + 1);
    }
    if (count > static_cast<double>(cells.size())) {
      for (const auto& [cell, found] : cells) {
        bool inside = true;
        for (std::size_t k = 0; k < 3; ++k) inside = inside && first[k] <= cell[k] && cell[k] <= last[k];
        if (inside) append(found);
      }
      continue;
    }
    Cell cell{};
    for (cell[0] = first[0]; cell[0] <= last[0]; ++cell[0]) {
      for (cell[1] = first[1]; cell[1] <= last[1]; ++cell[1]) {
        for (cell[2] = first[2]; cell[2] <= last[2]; ++cell[2]) {
          if (const auto found = cells.find(cell); found != cells.end()) append(found->second);
        }
      }
    }
  }
}

}  // namespace geoloom
