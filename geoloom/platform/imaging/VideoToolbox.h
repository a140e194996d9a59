#pragma once

#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/imaging/CGImage.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

/// The picture of a buffer. A one-plane buffer is shared, not copied, and kept alive; its alpha counts as
/// premultiplied. The two planes of a camera are converted by the full-range BT.601 matrix into memory of the
/// picture's own. Null for an absent buffer, a format that is not known, and without memory.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CGImage> VTCreateCGImageFromCVPixelBuffer(
    const std::shared_ptr<CVPixelBuffer>& pixelBuffer);

}  // namespace geoloom::platform
