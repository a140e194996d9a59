#pragma once

#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/imaging/CGImage.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

/// The image of a buffer. A one-plane buffer is shared, not copied, and kept alive; its alpha is read as
/// premultiplied. The two planes of a camera are converted with the full-range BT.601 matrix into new memory.
/// Null for an absent buffer.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CGImage> VTCreateCGImageFromCVPixelBuffer(
    const std::shared_ptr<CVPixelBuffer>& pixelBuffer);

}  // namespace geoloom::platform
