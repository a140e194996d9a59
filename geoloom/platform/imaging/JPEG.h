#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "geoloom/base/Result.h"

namespace geoloom::platform {

class CVPixelBuffer;

/// True if the bytes begin like a JPEG file.
[[nodiscard]] bool isJPEG(std::span<const std::uint8_t> bytes);

/// Decodes a gray or colour JPEG file of at most 2^28 pixels into a new opaque BGRA buffer. Ignores the EXIF
/// orientation. A truncated or damaged file is a failure whose message begins with `name`.
[[nodiscard]] base::Result<std::shared_ptr<CVPixelBuffer>> decodeJPEG(std::span<const std::uint8_t> bytes,
                                                                      const std::string& name);

}  // namespace geoloom::platform
