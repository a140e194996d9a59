#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/ar/ARCamera.h"
#include "geoloom/platform/ar/ARHitTestResult.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/foundation/simd.h"

namespace geoloom::platform {

class CVPixelBuffer;

/// A camera image with the tracking state at its time. Immutable, readable from any thread, shared as
/// std::shared_ptr<const ARFrame>.
class GEOLOOM_EXPORT ARFrame final : public NSObject {
 public:
  /// `capturedImage` is the sensor's image: landscape, also for a device held upright; its top edge is then
  /// at the right of the user's view. `rawFeaturePoints` are points located by tracking, in world
  /// coordinates. `timestamp` is in seconds and increases from frame to frame. Precondition: `camera` is not
  /// null.
  ARFrame(std::shared_ptr<CVPixelBuffer> capturedImage, std::shared_ptr<const ARCamera> camera,
          std::vector<simd_float3> rawFeaturePoints, double timestamp);
  ~ARFrame() override;

  [[nodiscard]] const std::shared_ptr<CVPixelBuffer>& capturedImage() const { return capturedImage_; }
  [[nodiscard]] const ARCamera& camera() const { return *camera_; }
  [[nodiscard]] const std::vector<simd_float3>& rawFeaturePoints() const { return rawFeaturePoints_; }
  [[nodiscard]] double timestamp() const { return timestamp_; }

  /// The feature points in front of the camera whose projection is at most 1/80 of the captured image's width
  /// (in pixels) away from `point`, nearest to the camera first, equally near ones in the order of the list.
  /// `point` is normalised to the captured image: (0, 0) is its top left corner, (1, 1) its bottom right. It
  /// may be outside the image. The feature points are projected once, by the frame's first hit test.
  [[nodiscard]] std::vector<ARHitTestResult> hitTest(CGPoint point, ARHitTestResultType types) const;

  /// The first result of hitTest(), without sorting or allocating.
  [[nodiscard]] std::optional<ARHitTestResult> nearestHit(CGPoint point, ARHitTestResultType types) const;

 private:
  struct ProjectedPoint;
  struct Projection;

  void project() const;
  template <class Visit>
  void forEachAround(CGPoint point, const Visit& visit) const;
  [[nodiscard]] ARHitTestResult resultOf(const ProjectedPoint& point) const;

  std::shared_ptr<CVPixelBuffer> capturedImage_;
  std::shared_ptr<const ARCamera> camera_;
  std::vector<simd_float3> rawFeaturePoints_;
  double timestamp_;
  std::unique_ptr<Projection> projection_;  ///< made by the first hit test
};

}  // namespace geoloom::platform
