#pragma once

#include "geoloom/platform/foundation/CoreGraphics.h"

namespace geoloom {

/// The size of the view that shows the camera, upright, in points: a phone's is higher than wide.
struct ViewSize {
  platform::CGFloat width = 0;
  platform::CGFloat height = 0;
};

}  // namespace geoloom
