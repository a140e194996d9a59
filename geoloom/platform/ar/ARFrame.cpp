#include "geoloom/platform/ar/ARFrame.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <numeric>
#include <utility>

namespace geoloom::platform {
namespace {

/// The radius of a hit test as a fraction of the captured image's width.
constexpr double HIT_RADIUS_SHARE = 1.0 / 80.0;
/// Rows and columns of the grid of points; a cell is about as large as the radius.
constexpr std::size_t CELLS = 80;

std::size_t cellAt(double pixels, double extent) {
  return static_cast<std::size_t>(std::clamp(pixels / std::max(extent, 1.0) * CELLS, 0.0, CELLS - 1.0));
}

double dot(const simd_float4& axis, double x, double y, double z) {
  return x * static_cast<double>(axis.x) + y * static_cast<double>(axis.y) + z * static_cast<double>(axis.z);
}

}  // namespace

/// A feature point in front of the camera, projected into its image.
struct ARFrame::ProjectedPoint {
  double x = 0;  ///< pixels
  double y = 0;
  double distance = 0;  ///< metres from the camera
  std::size_t index = 0;

  /// Nearest first; equally near ones in the order of the list.
  friend bool operator<(const ProjectedPoint& a, const ProjectedPoint& b) {
    return a.distance != b.distance ? a.distance < b.distance : a.index < b.index;
  }
};

/// The projected points and a grid over the image. A point outside the image belongs to the nearest cell.
struct ARFrame::Projection {
  std::once_flag once;
  std::vector<ProjectedPoint> points;
  std::vector<std::uint32_t> byCell;  ///< indices of the points, cell after cell, row by row
  std::vector<std::uint32_t> first;   ///< begin of each cell in `byCell`, and the end
};

ARFrame::ARFrame(std::shared_ptr<CVPixelBuffer> capturedImage, std::shared_ptr<const ARCamera> camera,
                 std::vector<simd_float3> rawFeaturePoints, double timestamp)
    : capturedImage_(std::move(capturedImage)),
      camera_(std::move(camera)),
      rawFeaturePoints_(std::move(rawFeaturePoints)),
      timestamp_(timestamp),
      projection_(std::make_unique<Projection>()) {}

ARFrame::~ARFrame() = default;

void ARFrame::project() const {
  const auto& [right, up, back, eye] = camera_->transform().columns;
  const auto& k = camera_->intrinsics().columns;
  auto& [once, points, byCell, first] = *projection_;
  points.reserve(rawFeaturePoints_.size());
  for (std::size_t i = 0; i < rawFeaturePoints_.size(); ++i) {
    const simd_float3& point = rawFeaturePoints_[i];
    const double dx = static_cast<double>(point.x) - static_cast<double>(eye.x);
    const double dy = static_cast<double>(point.y) - static_cast<double>(eye.y);
    const double dz = static_cast<double>(point.z) - static_cast<double>(eye.z);
    const double depth = -dot(back, dx, dy, dz);
    const double x =
        static_cast<double>(k[2].x) + static_cast<double>(k[0].x) * dot(right, dx, dy, dz) / depth;
    const double y = static_cast<double>(k[2].y) - static_cast<double>(k[1].y) * dot(up, dx, dy, dz) / depth;
    if (depth > 0 && std::isfinite(x) && std::isfinite(y))
      points.push_back({x, y, std::sqrt(dx * dx + dy * dy + dz * dz), i});
  }
  const CGSize size = camera_->imageResolution();
  const auto cellOf = [&](const ProjectedPoint& p) {
    return cellAt(p.y, size.height) * CELLS + cellAt(p.x, size.width);
  };
  // A counting sort.
  first.assign(CELLS * CELLS + 1, 0);
  for (const ProjectedPoint& point : points) ++first[cellOf(point) + 1];
  std::partial_sum(first.begin(), first.end(), first.begin());
  byCell.resize(points.size());
  auto next = first;
  for (std::uint32_t i = 0; i < points.size(); ++i) byCell[next[cellOf(points[i])]++] = i;
}

template <class Visit>
void ARFrame::forEachAround(CGPoint point, const Visit& visit) const {
  std::call_once(projection_->once, [this] { project(); });
  const auto& [once, points, byCell, first] = *projection_;
  const CGSize size = camera_->imageResolution();
  const double radius = size.width * HIT_RADIUS_SHARE;
  // The first pixel's centre is (0, 0), its corner (-0.5, -0.5).
  const double x = point.x * size.width - 0.5;
  const double y = point.y * size.height - 0.5;
  if (!std::isfinite(x) || !std::isfinite(y)) return;
  const double reach = radius * (1 + 1e-6);  // a margin for rounding
  const std::size_t left = cellAt(x - reach, size.width);
  const std::size_t right = cellAt(x + reach, size.width);
  for (std::size_t row = cellAt(y - reach, size.height); row <= cellAt(y + reach, size.height); ++row) {
    const std::uint32_t end = first[row * CELLS + right + 1];
    for (std::uint32_t i = first[row * CELLS + left]; i < end; ++i) {
      const ProjectedPoint& near = points[byCell[i]];
      const double dx = near.x - x;
      const double dy = near.y - y;
      if (dx * dx + dy * dy <= radius * radius) visit(near);
    }
  }
}

ARHitTestResult ARFrame::resultOf(const ProjectedPoint& point) const {
  ARHitTestResult result;
  result.distance = point.distance;
  const simd_float3& world = rawFeaturePoints_[point.index];
  result.worldTransform.columns[3] = {world.x, world.y, world.z, 1};
  return result;
}

std::vector<ARHitTestResult> ARFrame::hitTest(CGPoint point, ARHitTestResultType types) const {
  std::vector<ARHitTestResult> results;
  if (!contains(types, ARHitTestResultType::featurePoint)) return results;
  std::vector<ProjectedPoint> hits;
  forEachAround(point, [&](const ProjectedPoint& hit) { hits.push_back(hit); });
  std::sort(hits.begin(), hits.end());
  results.reserve(hits.size());
  for (const ProjectedPoint& hit : hits) results.push_back(resultOf(hit));
  return results;
}

std::optional<ARHitTestResult> ARFrame::nearestHit(CGPoint point, ARHitTestResultType types) const {
  if (!contains(types, ARHitTestResultType::featurePoint)) return std::nullopt;
  const ProjectedPoint* nearest = nullptr;
  forEachAround(point, [&](const ProjectedPoint& hit) {
    if (nearest == nullptr || hit < *nearest) nearest = &hit;
  });
  if (nearest == nullptr) return std::nullopt;
  return resultOf(*nearest);
}

}  // namespace geoloom::platform
