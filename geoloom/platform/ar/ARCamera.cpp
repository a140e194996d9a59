#include "geoloom/platform/ar/ARCamera.h"

#include <algorithm>
#include <cmath>

namespace geoloom::platform {
namespace {

// With R = Ry * Rx * Rz the last column is (cos x sin y, -sin x, cos x cos y) and the middle row is
// (cos x sin z, cos x cos z, -sin x).
simd_float3 pitchYawRoll(const simd_float4x4& transform) {
  const auto& [x, y, z, translation] = transform.columns;
  const double sinPitch = std::clamp(-static_cast<double>(z.y), -1.0, 1.0);
  const double cosPitch = std::hypot(static_cast<double>(z.x), static_cast<double>(z.z));
  constexpr double DEGENERATE = 1e-6;
  if (cosPitch < DEGENERATE) {
    // Looking straight up or down, yaw and roll have the same axis; all of the rotation is taken as yaw.
    return {static_cast<float>(std::copysign(std::acos(0.0), sinPitch)), std::atan2(-x.z, x.x), 0};
  }
  return {static_cast<float>(std::atan2(sinPitch, cosPitch)), std::atan2(z.x, z.z), std::atan2(x.y, y.y)};
}

}  // namespace

ARCamera::ARCamera(const simd_float4x4& transform, const simd_float3x3& intrinsics, CGSize imageResolution)
    : transform_(transform),
      intrinsics_(intrinsics),
      imageResolution_(imageResolution),
      eulerAngles_(pitchYawRoll(transform)) {}

ARCamera::~ARCamera() = default;

}  // namespace geoloom::platform
