#pragma once

#include "geoloom/platform/foundation/CoreGraphics.h"

namespace geoloom {

/// The size of the upright view that shows the camera, in points. On a phone it is higher than wide.
struct ViewSize {
  platform::CGFloat width = 0;
  platform::CGFloat height = 0;
};

}  // namespace geoloom
