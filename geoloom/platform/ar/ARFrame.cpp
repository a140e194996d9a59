#include "geoloom/platform/ar/ARFrame.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <mutex>
#include <utility>

namespace geoloom::platform {
namespace {

/// A hit lies within this share of the captured image's width.
constexpr double hitRadiusShare = 1.0 / 80.0;

struct ProjectedPoint {
  double x;  ///< pixels
  double y;
  double distance;  ///< metres from the camera
  std::uint32_t index;
};

bool nearer(const ProjectedPoint& a, const ProjectedPoint& b) {
  return a.distance != b.distance ? a.distance < b.distance : a.index < b.index;
}

std::vector<ProjectedPoint> project(const ARCamera& camera, const std::vector<simd_float3>& points) {
  const auto& [right, up, back, eye] = camera.transform().columns;
  const auto& k = camera.intrinsics().columns;
  const double fx = k[0].x;
  const double fy = k[1].y;
  const double cx = k[2].x;
  const double cy = k[2].y;
  std::vector<ProjectedPoint> projected;
  projected.reserve(points.size());
  for (std::uint32_t i = 0; i < points.size(); ++i) {
    const double dx = static_cast<double>(points[i].x) - static_cast<double>(eye.x);
    const double dy = static_cast<double>(points[i].y) - static_cast<double>(eye.y);
    const double dz = static_cast<double>(points[i].z) - static_cast<double>(eye.z);
    const auto along = [&](const simd_float4& axis) {
      return dx * static_cast<double>(axis.x) + dy * static_cast<double>(axis.y) +
             dz * static_cast<double>(axis.z);
    };
    const double depth = -along(back);
    const double x = cx + fx * along(right) / depth;
    const double y = cy - fy * along(up) / depth;
    // Not-a-number fails these tests too.
    if (depth > 0 && std::isfinite(x) && std::isfinite(y)) {
      projected.push_back({x, y, std::sqrt(dx * dx + dy * dy + dz * dz), i});
    }
  }
  return projected;
}

}  // namespace

/// The projected points sorted into square cells as wide as the hit radius, so that a hit test reads nine
/// cells. What lies outside the image falls into the cells of its border; since that keeps the order along
/// each axis, the cells from one coordinate to another still hold every point between them.
class ARFrame::ScreenGrid {
 public:
  ScreenGrid(const ARCamera& camera, const std::vector<simd_float3>& points)
      : width_(camera.imageResolution().width),
        height_(camera.imageResolution().height),
        radius_(width_ * hitRadiusShare) {
    if (!(radius_ > 0) || !std::isfinite(radius_) || !(height_ > 0)) return;
    columns_ = cells(width_);
    rows_ = cells(height_);
    fill(project(camera, points));
  }

  /// The points within the radius, nearest first.
  [[nodiscard]] std::vector<ProjectedPoint> around(CGPoint point) const {
    std::vector<ProjectedPoint> found;
    const double x = point.x * width_ - 0.5;  // the first pixel's centre is (0, 0), its corner (-0.5, -0.5)
    const double y = point.y * height_ - 0.5;
    if (points_.empty() || !std::isfinite(x) || !std::isfinite(y)) return found;
    const std::size_t lastColumn = cell(x + radius_, columns_);
    const std::size_t lastRow = cell(y + radius_, rows_);
    for (std::size_t row = cell(y - radius_, rows_); row <= lastRow; ++row) {
      const std::size_t first = row * columns_ + cell(x - radius_, columns_);
      const std::size_t end = row * columns_ + lastColumn + 1;
      for (std::uint32_t i = starts_[first]; i < starts_[end]; ++i) {
        const double dx = points_[i].x - x;
        const double dy = points_[i].y - y;
        if (dx * dx + dy * dy <= radius_ * radius_) found.push_back(points_[i]);
      }
    }
    std::sort(found.begin(), found.end(), nearer);
    return found;
  }

 private:
  [[nodiscard]] std::size_t cells(double length) const {
    constexpr double most = 512;
    return static_cast<std::size_t>(std::clamp(std::ceil(length / radius_), 1.0, most));
  }

  [[nodiscard]] std::size_t cell(double coordinate, std::size_t count) const {
    return static_cast<std::size_t>(
        std::clamp(std::floor(coordinate / radius_), 0.0, static_cast<double>(count - 1)));
  }

  /// A counting sort: starts_[c] to starts_[c + 1] are the points of cell c.
  void fill(const std::vector<ProjectedPoint>& projected) {
    std::vector<std::uint32_t> cellOf(projected.size());
    starts_.assign(columns_ * rows_ + 1, 0);
    for (std::size_t i = 0; i < projected.size(); ++i) {
      cellOf[i] =
          static_cast<std::uint32_t>(cell(projected[i].y, rows_) * columns_ + cell(projected[i].x, columns_));
      ++starts_[cellOf[i] + 1];
    }
    for (std::size_t c = 1; c < starts_.size(); ++c) starts_[c] += starts_[c - 1];
    std::vector<std::uint32_t> next(starts_.begin(), starts_.end() - 1);
    points_.resize(projected.size());
    for (std::size_t i = 0; i < projected.size(); ++i) points_[next[cellOf[i]]++] = projected[i];
  }

  double width_;
  double height_;
  double radius_;
  std::size_t columns_ = 1;
  std::size_t rows_ = 1;
  std::vector<std::uint32_t> starts_;
  std::vector<ProjectedPoint> points_;
};

struct ARFrame::Projection {
  std::once_flag once;
  std::unique_ptr<const ScreenGrid> grid;
};

ARFrame::ARFrame(std::shared_ptr<CVPixelBuffer> capturedImage, std::shared_ptr<const ARCamera> camera,
                 std::vector<simd_float3> rawFeaturePoints, double timestamp)
    : capturedImage_(std::move(capturedImage)),
      camera_(std::move(camera)),
      rawFeaturePoints_(std::move(rawFeaturePoints)),
      timestamp_(timestamp),
      projection_(std::make_unique<Projection>()) {}

ARFrame::~ARFrame() = default;

const ARFrame::ScreenGrid& ARFrame::screenGrid() const {
  std::call_once(projection_->once, [this] {
    projection_->grid = std::make_unique<const ScreenGrid>(*camera_, rawFeaturePoints_);
  });
  return *projection_->grid;
}

std::vector<ARHitTestResult> ARFrame::hitTest(CGPoint point, ARHitTestResultType types) const {
  std::vector<ARHitTestResult> results;
  if (!contains(types, ARHitTestResultType::featurePoint)) return results;
  const std::vector<ProjectedPoint> hits = screenGrid().around(point);
  results.reserve(hits.size());
  for (const ProjectedPoint& hit : hits) {
    ARHitTestResult& result = results.emplace_back();
    result.distance = hit.distance;
    const simd_float3& world = rawFeaturePoints_[hit.index];
    result.worldTransform.columns[3] = {world.x, world.y, world.z, 1};
  }
  return results;
}

}  // namespace geoloom::platform
