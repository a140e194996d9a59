#pragma once

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "geoloom/platform/ar/ARFrame.h"

namespace geoloom::test {

using platform::ARCamera;
using platform::ARFrame;
using platform::CGPoint;
using platform::CGSize;
using platform::simd_float3;

/// A hit test by linear search: the indices of the hit feature points, nearest to the camera first.
inline std::vector<std::size_t> plainHitTest(const ARFrame& frame, CGPoint point) {
  const ARCamera& camera = frame.camera();
  const CGSize size = camera.imageResolution();
  const auto& m = camera.transform().columns;
  const auto& k = camera.intrinsics().columns;
  std::vector<std::pair<double, std::size_t>> hits;
  for (std::size_t i = 0; i < frame.rawFeaturePoints().size(); ++i) {
    const simd_float3& p = frame.rawFeaturePoints()[i];
    const double d[3] = {static_cast<double>(p.x) - static_cast<double>(m[3].x),
                         static_cast<double>(p.y) - static_cast<double>(m[3].y),
                         static_cast<double>(p.z) - static_cast<double>(m[3].z)};
    double inCamera[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
      inCamera[axis] = d[0] * static_cast<double>(m[axis].x) + d[1] * static_cast<double>(m[axis].y) +
                       d[2] * static_cast<double>(m[axis].z);
    }
    if (!(inCamera[2] < 0)) continue;
    const double u = static_cast<double>(k[2].x) + static_cast<double>(k[0].x) * inCamera[0] / -inCamera[2];
    const double v = static_cast<double>(k[2].y) - static_cast<double>(k[1].y) * inCamera[1] / -inCamera[2];
    const double dx = u - (point.x * size.width - 0.5);
    const double dy = v - (point.y * size.height - 0.5);
    const double radius = size.width * (1.0 / 80.0);
    if (!(dx * dx + dy * dy <= radius * radius)) continue;
    hits.emplace_back(std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]), i);
  }
  std::sort(hits.begin(), hits.end());
  std::vector<std::size_t> order;
  order.reserve(hits.size());
  for (const auto& [distance, index] : hits) order.push_back(index);
  return order;
}

}  // namespace geoloom::test
