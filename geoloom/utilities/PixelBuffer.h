#pragma once

#include <cstddef>
#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/imaging/CIContext.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom {

/// A new BGRA buffer with uninitialised pixels. Null, after a line on the console, for a size of 0 or if
/// there is not enough memory.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<platform::CVPixelBuffer> createPixelBuffer(std::size_t width,
                                                                                        std::size_t height);

/// A new buffer of the source's format that holds the crop rectangle (in pixels, from the top left) scaled to
/// scaleWidth x scaleHeight, with rows of scaleWidth * 4 bytes. The source is read in place, as four bytes
/// per pixel regardless of its format, so it should be BGRA or ARGB; it is locked during the call, and no
/// other thread may change it meanwhile. See vImageScale_ARGB8888 for the filter.
///
/// Null, after a line on the console that begins with "Error:", for an absent source, a crop rectangle that
/// is not inside the source, an empty crop rectangle or scaled size, a format other than BGRA or ARGB that
/// cannot hold the result, or if there is not enough memory.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<platform::CVPixelBuffer> resizePixelBuffer(
    const std::shared_ptr<platform::CVPixelBuffer>& source, std::size_t cropX, std::size_t cropY,
    std::size_t cropWidth, std::size_t cropHeight, std::size_t scaleWidth, std::size_t scaleHeight);

/// The same for the whole source.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<platform::CVPixelBuffer> resizePixelBuffer(
    const std::shared_ptr<platform::CVPixelBuffer>& source, std::size_t width, std::size_t height);

/// Renders the source (any format), scaled to width x height, into the bottom left of `output` (one plane),
/// which usually has exactly that size; the rest of `output` becomes 0. Does nothing, without a message, if
/// the source or the output is null.
GEOLOOM_EXPORT void resizePixelBuffer(const std::shared_ptr<platform::CVPixelBuffer>& source,
                                      std::size_t width, std::size_t height,
                                      const std::shared_ptr<platform::CVPixelBuffer>& output,
                                      const platform::CIContext& context);

}  // namespace geoloom
