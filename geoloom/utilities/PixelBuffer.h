#pragma once

#include <cstddef>
#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/imaging/CIContext.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom {

/// A new BGRA buffer; it holds nothing in particular until it is written. Null, with a line on the console,
/// for a size that is not positive and when memory does not suffice.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<platform::CVPixelBuffer> createPixelBuffer(
    std::ptrdiff_t width, std::ptrdiff_t height);

/// A new buffer of the source's format that holds the crop rectangle (in pixels, from the top left) scaled to
/// scaleWidth x scaleHeight, its rows scaleWidth * 4 bytes apart. The source's pixels are read in place, as
/// four bytes each whatever its format: it should be BGRA or ARGB. It must not be written meanwhile. See
/// vImageScale_ARGB8888 for the filter.
///
/// Null, with a line on the console, for a crop rectangle that is empty or not inside the source, a scaled
/// size that is not positive, and when memory does not suffice.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<platform::CVPixelBuffer> resizePixelBuffer(
    platform::CVPixelBuffer& pixelBuffer, std::ptrdiff_t cropX, std::ptrdiff_t cropY,
    std::ptrdiff_t cropWidth, std::ptrdiff_t cropHeight, std::ptrdiff_t scaleWidth,
    std::ptrdiff_t scaleHeight);

/// The same for all of the source.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<platform::CVPixelBuffer> resizePixelBuffer(
    platform::CVPixelBuffer& pixelBuffer, std::ptrdiff_t width, std::ptrdiff_t height);

/// Renders the source (any format), scaled to width x height, into the bottom left of `output` (one plane),
/// which is usually of just that size; what is not covered becomes 0. Nothing is reported.
GEOLOOM_EXPORT void resizePixelBuffer(const std::shared_ptr<platform::CVPixelBuffer>& pixelBuffer,
                                      std::ptrdiff_t width, std::ptrdiff_t height,
                                      platform::CVPixelBuffer& output, const platform::CIContext& context);

}  // namespace geoloom
