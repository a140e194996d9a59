#pragma once

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/foundation/simd.h"

namespace geoloom::platform {

/// The camera of one frame: where it stood and how it projects. Immutable.
///
/// World and camera coordinates are right-handed, in metres. In the world y points up, against gravity. In
/// the camera x points right and y up in the captured (landscape) image, and the camera looks along -z.
class GEOLOOM_EXPORT ARCamera final : public NSObject {
 public:
  /// `transform` takes camera coordinates to world coordinates and is rigid. `intrinsics` are in pixels of
  /// the captured image, whose size `imageResolution` is; pixel coordinates grow right and down and the
  /// centre of the first pixel is (0, 0).
  ARCamera(const simd_float4x4& transform, const simd_float3x3& intrinsics, CGSize imageResolution);
  ~ARCamera() override;

  [[nodiscard]] const simd_float4x4& transform() const { return transform_; }
  [[nodiscard]] const simd_float3x3& intrinsics() const { return intrinsics_; }
  [[nodiscard]] CGSize imageResolution() const { return imageResolution_; }

  /// Pitch, yaw and roll in radians: the rotation is Ry(yaw) * Rx(pitch) * Rz(roll). Pitch lies in [-pi/2,
  /// pi/2]; where it reaches an end the roll is 0.
  [[nodiscard]] const simd_float3& eulerAngles() const { return eulerAngles_; }

 private:
  simd_float4x4 transform_;
  simd_float3x3 intrinsics_;
  CGSize imageResolution_;
  simd_float3 eulerAngles_;
};

}  // namespace geoloom::platform
