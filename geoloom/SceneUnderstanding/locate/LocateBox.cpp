#include "geoloom/SceneUnderstanding/locate/LocateBox.h"

#include <algorithm>
#include <limits>

#include "geoloom/SceneUnderstanding/locate/SampleGrid.h"
#include "geoloom/platform/ar/ARFrame.h"

namespace geoloom {
namespace {

using platform::SCNVector3;

constexpr float LEAST_DISTANCE = 0.3F;  ///< metres

SCNVector3 translationOf(const platform::simd_float4x4& transform) {
  return {transform.columns[3].x, transform.columns[3].y, transform.columns[3].z};
}

constexpr BoundingBox3D emptyBounds() {
  constexpr float LARGEST = std::numeric_limits<float>::max();
  return {LARGEST, -LARGEST, LARGEST, -LARGEST, LARGEST, -LARGEST};
}

void extend(BoundingBox3D& bounds, const SCNVector3& p) {
  bounds.minX = std::min(bounds.minX, p.x);
  bounds.maxX = std::max(bounds.maxX, p.x);
  bounds.minY = std::min(bounds.minY, p.y);
  bounds.maxY = std::max(bounds.maxY, p.y);
  bounds.minZ = std::min(bounds.minZ, p.z);
  bounds.maxZ = std::max(bounds.maxZ, p.z);
}

}  // namespace

std::optional<BoundingBox3D> locateBox(const BoundingBox2& box, const platform::ARFrame& frame,
                                       double screenWidth, double screenHeight,
                                       const std::function<void(SCNVector3)>& onHit) {
  const SCNVector3 camera = translationOf(frame.camera().transform());
  BoundingBox3D bounds = emptyBounds();
  const platform::CGRect rect =
      imageRect(screenRect(box, screenWidth, screenHeight), screenWidth, screenHeight);
  forEachSample(rect, [&](platform::CGPoint sample) {
    const auto hit = frame.nearestHit(sample, platform::ARHitTestResultType::featurePoint);
    if (!hit) return;
    const SCNVector3 p = translationOf(hit->worldTransform);
    if (!(p.distance(camera) >= LEAST_DISTANCE)) return;
    extend(bounds, p);
    if (onHit) onHit(p);
  });
  if (bounds.minX == emptyBounds().minX) return std::nullopt;
  return bounds;
}

}  // namespace geoloom
