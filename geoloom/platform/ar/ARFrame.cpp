#include "geoloom/platform/ar/ARFrame.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

#include "geoloom/platform/ar/ScreenGrid.h"

namespace geoloom::platform {

struct ARFrame::Projection {
  std::once_flag once;
  std::unique_ptr<const ScreenGrid> grid;
  /// The grid once it is made. All hit tests but the first only read this.
  std::atomic<const ScreenGrid*> ready = nullptr;
};

ARFrame::ARFrame(std::shared_ptr<CVPixelBuffer> capturedImage, std::shared_ptr<const ARCamera> camera,
                 std::vector<simd_float3> rawFeaturePoints, double timestamp)
    : capturedImage_(std::move(capturedImage)),
      camera_(std::move(camera)),
      rawFeaturePoints_(std::move(rawFeaturePoints)),
      timestamp_(timestamp),
      projection_(std::make_unique<Projection>()) {}

ARFrame::~ARFrame() = default;

const ScreenGrid& ARFrame::screenGrid() const {
  if (const ScreenGrid* grid = projection_->ready.load(std::memory_order_acquire)) return *grid;
  std::call_once(projection_->once, [this] {
    projection_->grid = std::make_unique<const ScreenGrid>(*camera_, rawFeaturePoints_);
    projection_->ready.store(projection_->grid.get(), std::memory_order_release);
  });
  return *projection_->grid;
}

ARHitTestResult ARFrame::resultOf(double distance, std::size_t index) const {
  ARHitTestResult result;
  result.distance = distance;
  const simd_float3& world = rawFeaturePoints_[index];
  result.worldTransform.columns[3] = {world.x, world.y, world.z, 1};
  return result;
}

std::vector<ARHitTestResult> ARFrame::hitTest(CGPoint point, ARHitTestResultType types) const {
  std::vector<ARHitTestResult> results;
  if (!contains(types, ARHitTestResultType::featurePoint)) return results;
  thread_local std::vector<ScreenGrid::Hit> hits;
  hits.clear();
  screenGrid().forEachAround(point, [](const ScreenGrid::Hit& hit) { hits.push_back(hit); });
  std::sort(hits.begin(), hits.end());
  results.reserve(hits.size());
  for (const auto& [distance, index] : hits) results.push_back(resultOf(distance, index));
  return results;
}

std::optional<ARHitTestResult> ARFrame::nearestHit(CGPoint point, ARHitTestResultType types) const {
  if (!contains(types, ARHitTestResultType::featurePoint)) return std::nullopt;
  std::optional<ScreenGrid::Hit> nearest;
  screenGrid().forEachAround(point, [&](const ScreenGrid::Hit& hit) {
    if (!nearest || hit < *nearest) nearest = hit;
  });
  if (!nearest) return std::nullopt;
  return resultOf(nearest->distance, nearest->index);
}

}  // namespace geoloom::platform
