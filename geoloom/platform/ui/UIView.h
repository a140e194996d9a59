#pragma once

#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/ui/CALayer.h"

namespace geoloom::platform {

/// A part of the application's screen: a frame in points and a layer. Use on the application's main thread
/// only.
class GEOLOOM_EXPORT UIView : public NSObject {
 public:
  explicit UIView(CGRect frame = {});
  ~UIView() override;

  [[nodiscard]] CGRect frame() const { return frame_; }
  /// The frame in the view's own coordinates: its origin is (0, 0).
  [[nodiscard]] CGRect bounds() const { return {{0, 0}, {frame_.width(), frame_.height()}}; }
  [[nodiscard]] const std::shared_ptr<CALayer>& layer() const { return layer_; }

 private:
  CGRect frame_;
  std::shared_ptr<CALayer> layer_;
};

}  // namespace geoloom::platform
