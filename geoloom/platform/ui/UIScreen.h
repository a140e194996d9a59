#pragma once

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/CoreGraphics.h"

namespace geoloom::platform {

/// The display that the application draws on. May be used from any thread.
class GEOLOOM_EXPORT UIScreen {
 public:
  /// Pixels per point; 1 unless the application sets it.
  [[nodiscard]] static CGFloat mainScale();
  static void setMainScale(CGFloat scale);
};

}  // namespace geoloom::platform
