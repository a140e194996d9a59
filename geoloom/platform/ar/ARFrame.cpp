#include "geoloom/platform/ar/ARFrame.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

namespace geoloom::platform {
namespace {

/// The radius of a hit test as a fraction of the captured image's width.
constexpr double HIT_RADIUS_SHARE = 1.0 / 80.0;

double dot(const simd_float4& axis, double x, double y, double z) {
  return x * static_cast<double>(axis.x) + y * static_cast<double>(axis.y) + z * static_cast<double>(axis.z);
}

}  // namespace

/// A feature point in front of the camera, projected into its image.
struct ARFrame::ProjectedPoint {
  double x;  ///< pixels
  double y;
  double distance;  ///< metres from the camera
  std::size_t index;

  /// Nearest first; equally near ones in the order of the list.
  friend bool operator<(const ProjectedPoint& a, const ProjectedPoint& b) {
    return a.distance != b.distance ? a.distance < b.distance : a.index < b.index;
  }
};

struct ARFrame::Projection {
  std::once_flag once;
  std::vector<ProjectedPoint> byX;
};

ARFrame::ARFrame(std::shared_ptr<CVPixelBuffer> capturedImage, std::shared_ptr<const ARCamera> camera,
                 std::vector<simd_float3> rawFeaturePoints, double timestamp)
    : capturedImage_(std::move(capturedImage)),
      camera_(std::move(camera)),
      rawFeaturePoints_(std::move(rawFeaturePoints)),
      timestamp_(timestamp),
      projection_(std::make_unique<Projection>()) {}

ARFrame::~ARFrame() = default;

std::vector<ARFrame::ProjectedPoint> ARFrame::project() const {
  const auto& [right, up, back, eye] = camera_->transform().columns;
  const auto& k = camera_->intrinsics().columns;
  std::vector<ProjectedPoint> points;
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
  std::sort(points.begin(), points.end(),
            [](const ProjectedPoint& a, const ProjectedPoint& b) { return a.x < b.x; });
  return points;
}

template <class Visit>
void ARFrame::forEachAround(CGPoint point, const Visit& visit) const {
  std::call_once(projection_->once, [this] { projection_->byX = project(); });
  const auto& points = projection_->byX;
  const CGSize size = camera_->imageResolution();
  const double radius = size.width * HIT_RADIUS_SHARE;
  // The first pixel's centre is (0, 0), its corner (-0.5, -0.5).
  const double x = point.x * size.width - 0.5;
  const double y = point.y * size.height - 0.5;
  const double reach = radius * (1 + 1e-6);  // a margin for rounding
  auto at = std::lower_bound(points.begin(), points.end(), x - reach,
                             [](const ProjectedPoint& p, double least) { return p.x < least; });
  for (; at != points.end() && at->x <= x + reach; ++at) {
    const double dx = at->x - x;
    const double dy = at->y - y;
    if (dx * dx + dy * dy <= radius * radius) visit(*at);
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
