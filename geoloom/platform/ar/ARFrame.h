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
class ScreenGrid;

/// One image of the camera with what tracking knew at that moment. Immutable, readable from any thread,
/// shared as std::shared_ptr<const ARFrame>.
class GEOLOOM_EXPORT ARFrame final : public NSObject {
 public:
  /// `capturedImage` is the sensor's image: landscape for a device that is held upright, its top edge at the
  /// right of what the user sees. `rawFeaturePoints` are points of the world that tracking has located, world
  /// coordinates. `timestamp` is in seconds and grows from frame to frame. Precondition: image and camera are
  /// present.
  ARFrame(std::shared_ptr<CVPixelBuffer> capturedImage, std::shared_ptr<const ARCamera> camera,
          std::vector<simd_float3> rawFeaturePoints, double timestamp);
  ~ARFrame() override;

  [[nodiscard]] const std::shared_ptr<CVPixelBuffer>& capturedImage() const { return capturedImage_; }
  [[nodiscard]] const ARCamera& camera() const { return *camera_; }
  [[nodiscard]] const std::vector<simd_float3>& rawFeaturePoints() const { return rawFeaturePoints_; }
  [[nodiscard]] double timestamp() const { return timestamp_; }

  /// The feature points in front of the camera whose projection lies within 1/80 of the captured image's
  /// width (in pixels) of `point`, nearest to the camera first, equally near ones in the order of the list.
  /// `point` is normalised to the captured image: (0, 0) is its top left corner, (1, 1) its bottom right;
  /// points outside are as good. The feature points are projected once, at the first hit test of the frame.
  [[nodiscard]] std::vector<ARHitTestResult> hitTest(CGPoint point, ARHitTestResultType types) const;

  /// The first of these, for those who want no other: it needs neither order nor memory.
  [[nodiscard]] std::optional<ARHitTestResult> nearestHit(CGPoint point, ARHitTestResultType types) const;

 private:
  [[nodiscard]] const ScreenGrid& screenGrid() const;
  [[nodiscard]] ARHitTestResult resultOf(double distance, std::size_t index) const;

  std::shared_ptr<CVPixelBuffer> capturedImage_;
  std::shared_ptr<const ARCamera> camera_;
  std::vector<simd_float3> rawFeaturePoints_;
  double timestamp_;
  struct Projection;
  std::unique_ptr<Projection> projection_;
};

}  // namespace geoloom::platform
