#include "geoloom/platform/ar/ScreenGrid.h"

#include <algorithm>
#include <array>

namespace geoloom::platform {

namespace {

/// The radius of a hit test as a fraction of the captured image's width.
constexpr double HIT_RADIUS_SHARE = 1.0 / 80.0;

class Projection {
 public:
  explicit Projection(const ARCamera& camera) {
    for (std::size_t k = 0; k < 4; ++k) {
      const simd_float4& column = camera.transform().columns[k];
      pose_[k] = {static_cast<double>(column.x), static_cast<double>(column.y),
                  static_cast<double>(column.z)};
    }
    const auto& k = camera.intrinsics().columns;
    fx_ = static_cast<double>(k[0].x);
    fy_ = static_cast<double>(k[1].y);
    cx_ = static_cast<double>(k[2].x);
    cy_ = static_cast<double>(k[2].y);
  }

  /// A point as seen by the camera. The pixel is valid if the depth is positive.
  struct Place {
    double depth;
    double x;
    double y;
    double squaredDistance;
  };

  [[nodiscard]] Place of(const simd_float3& point) const {
    const auto& [right, up, back, eye] = pose_;
    const double dx = static_cast<double>(point.x) - eye[0];
    const double dy = static_cast<double>(point.y) - eye[1];
    const double dz = static_cast<double>(point.z) - eye[2];
    const double depth = -(dx * back[0] + dy * back[1] + dz * back[2]);
    return {depth, cx_ + fx_ * (dx * right[0] + dy * right[1] + dz * right[2]) / depth,
            cy_ - fy_ * (dx * up[0] + dy * up[1] + dz * up[2]) / depth, dx * dx + dy * dy + dz * dz};
  }

 private:
  std::array<std::array<double, 3>, 4> pose_;
  double fx_;
  double fy_;
  double cx_;
  double cy_;
};

}  // namespace

ScreenGrid::ScreenGrid(const ARCamera& camera, std::span<const simd_float3> points)
    : width_(camera.imageResolution().width), height_(camera.imageResolution().height) {
  const double radius = width_ * HIT_RADIUS_SHARE;
  if (!(radius > 0) || !std::isfinite(radius) || !(height_ > 0)) return;
  squaredRadius_ = radius * radius;
  reach_ = radius * (1 + 1e-6);
  cellsPerPixel_ = 1 / radius;
  columns_ = cells(width_);
  rows_ = cells(height_);
  fill(camera, points);
}

std::size_t ScreenGrid::cells(double length) const {
  constexpr double MOST = 512;
  return static_cast<std::size_t>(std::clamp(std::ceil(length * cellsPerPixel_), 1.0, MOST));
}

/// Projects the points and sorts them by cell with a counting sort.
void ScreenGrid::fill(const ARCamera& camera, std::span<const simd_float3> points) {
  std::vector<Projected> projected;
  std::vector<std::uint32_t> cellOf;
  projected.reserve(points.size());
  cellOf.reserve(points.size());
  // starts_[c + 2] counts the points of cell c. After the summation, starts_[c + 1] is the start of cell c,
  // and placing the points advances it to the cell's end.
  starts_.assign(columns_ * rows_ + 2, 0);
  const Projection projection(camera);
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Projection::Place p = projection.of(points[i]);
    if (!(p.depth > 0) || !std::isfinite(p.x) || !std::isfinite(p.y)) continue;
    const std::size_t c = cell(p.y, rows_) * columns_ + cell(p.x, columns_);
    ++starts_[c + 2];
    projected.push_back({p.x, p.y, {std::sqrt(p.squaredDistance), static_cast<std::uint32_t>(i)}});
    cellOf.push_back(static_cast<std::uint32_t>(c));
  }
  for (std::size_t c = 2; c < starts_.size(); ++c) starts_[c] += starts_[c - 1];
  sorted_.resize(projected.size());
  for (std::size_t i = 0; i < projected.size(); ++i) sorted_[starts_[cellOf[i] + 1]++] = projected[i];
}

}  // namespace geoloom::platform
