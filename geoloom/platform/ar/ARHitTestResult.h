#pragma once

#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/simd.h"

namespace geoloom::platform {

/// The targets of a hit test; a set of bits. Planes are not tracked, so a search for them finds nothing.
enum class ARHitTestResultType : unsigned {
  featurePoint = 1U << 0U,
  estimatedHorizontalPlane = 1U << 1U,
  estimatedVerticalPlane = 1U << 2U,
  existingPlane = 1U << 3U,
  existingPlaneUsingExtent = 1U << 4U,
};

[[nodiscard]] constexpr ARHitTestResultType operator|(ARHitTestResultType a, ARHitTestResultType b) {
  return static_cast<ARHitTestResultType>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

[[nodiscard]] constexpr bool contains(ARHitTestResultType set, ARHitTestResultType type) {
  return (static_cast<unsigned>(set) & static_cast<unsigned>(type)) != 0;
}

/// A point of the world that a hit test has found at a point of the image.
struct ARHitTestResult {
  ARHitTestResultType type = ARHitTestResultType::featurePoint;
  /// Metres from the camera.
  CGFloat distance = 0;
  /// In world coordinates. The translation is the point; the rotation of a feature point is the identity.
  simd_float4x4 worldTransform;
};

}  // namespace geoloom::platform
