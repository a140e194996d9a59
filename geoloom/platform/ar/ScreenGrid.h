#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "geoloom/platform/ar/ARCamera.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/simd.h"

namespace geoloom::platform {

/// The points in front of a camera, projected into its image and sorted into square cells as wide as the hit
/// radius, so that a hit test reads nine cells. Immutable, readable from any thread.
///
/// Points outside the image belong to the cells at its border. Cell numbers never decrease along an axis, so
/// the cells between two coordinates contain every point between them.
class ScreenGrid {
 public:
  struct Hit {
    double distance;  ///< metres from the camera
    std::uint32_t index;

    /// Nearest first; equally near ones in the order of the list.
    friend bool operator<(const Hit& a, const Hit& b) {
      return a.distance != b.distance ? a.distance < b.distance : a.index < b.index;
    }
  };

  ScreenGrid(const ARCamera& camera, std::span<const simd_float3> points);
  ~ScreenGrid();
  ScreenGrid(const ScreenGrid&) = delete;
  ScreenGrid& operator=(const ScreenGrid&) = delete;

  /// Calls `visit(hit)` in no particular order for every point within the radius of `point`, which is
  /// normalised to the image.
  template <class Visit>
  void forEachAround(CGPoint point, Visit&& visit) const {
    // The first pixel's centre is (0, 0), its corner (-0.5, -0.5).
    const double x = point.x * width_ - 0.5;
    const double y = point.y * height_ - 0.5;
    if (storage_.sorted.empty() || !std::isfinite(x) || !std::isfinite(y)) return;
    const std::size_t firstColumn = cell(x - reach_, columns_);
    const std::size_t endColumn = cell(x + reach_, columns_) + 1;
    const std::size_t lastRow = cell(y + reach_, rows_);
    for (std::size_t row = cell(y - reach_, rows_); row <= lastRow; ++row) {
      const Projected* at = storage_.sorted.data() + storage_.starts[row * columns_ + firstColumn];
      const Projected* const end = storage_.sorted.data() + storage_.starts[row * columns_ + endColumn];
      for (; at != end; ++at) {
        const double dx = at->x - x;
        const double dy = at->y - y;
        if (dx * dx + dy * dy <= squaredRadius_) visit(at->hit);
      }
    }
  }

 private:
  struct Projected {
    double x;  ///< pixels
    double y;
    Hit hit;
  };
  struct Unsorted {
    Projected point;
    std::uint32_t cell;
  };
  struct Storage {
    std::vector<std::uint32_t> starts;  ///< the points of cell c are starts[c] to starts[c + 1] of sorted
    std::vector<Unsorted> unsorted;     ///< scratch of fill
    std::vector<Projected> sorted;
  };
  class Spares;

  [[nodiscard]] std::size_t cells(double length) const;
  /// Never decreases as the coordinate grows.
  [[nodiscard]] std::size_t cell(double coordinate, std::size_t count) const {
    const double number = coordinate * cellsPerPixel_;
    const auto last = static_cast<double>(count - 1);
    // Truncating a number that is not negative is its floor, without a call.
    return static_cast<std::size_t>(
        static_cast<std::int32_t>(number > 0 ? (number < last ? number : last) : 0));
  }
  void fill(const ARCamera& camera, std::span<const simd_float3> points);

  double width_;
  double height_;
  double squaredRadius_ = 0;
  double reach_ = 0;  ///< the radius plus a margin for rounding
  double cellsPerPixel_ = 0;
  std::size_t columns_ = 1;
  std::size_t rows_ = 1;
  Storage storage_;
};

}  // namespace geoloom::platform
