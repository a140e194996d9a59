#pragma once

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/foundation/simd.h"

namespace geoloom::platform {

/// Pose and projection of the camera of a frame. Immutable.
///
/// World and camera coordinates are right-handed, in metres. World y points up, against gravity. Camera x
/// points right and camera y up in the captured (landscape) image; the camera looks along -z.
class GEOLOOM_EXPORT ARCamera final : public NSObject {
 public:
  /// `transform` is rigid and maps camera to world coordinates. `intrinsics` are in pixels of the captured
  /// image, of size `imageResolution`. Pixel coordinates increase to the right and down; the centre of the
  /// first pixel is (0, 0).
  ARCamera(const simd_float4x4& transform, const simd_float3x3& intrinsics, CGSize imageResolution);
  ~ARCamera() override;

  [[nodiscard]] const simd_float4x4& transform() const { return transform_; }
  [[nodiscard]] const simd_float3x3& intrinsics() const { return intrinsics_; }
  [[nodiscard]] CGSize imageResolution() const { return imageResolution_; }

  /// Pitch, yaw and roll in radians: the rotation is Ry(yaw) * Rx(pitch) * Rz(roll). Pitch is in
  /// [-pi/2, pi/2]; at both ends the roll is 0.
  [[nodiscard]] const simd_float3& eulerAngles() const { return eulerAngles_; }

 private:
  simd_float4x4 transform_;
  simd_float3x3 intrinsics_;
  CGSize imageResolution_;
  simd_float3 eulerAngles_;
};

}  // namespace geoloom::platform
