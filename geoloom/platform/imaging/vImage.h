#pragma once

#include <cstddef>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// A view of pixels, rows from the top and `rowBytes` apart.
struct vImage_Buffer {
  void* data = nullptr;
  std::size_t height = 0;
  std::size_t width = 0;
  std::size_t rowBytes = 0;
};

/// Errors by the platform's published codes.
enum vImage_Error : std::ptrdiff_t {
  kvImageNoError = 0,
  kvImageNullPointerArgument = -21772,
  kvImageInvalidParameter = -21773,    ///< a side of more than 2^29 pixels
  kvImageBufferSizeMismatch = -21774,  ///< a size of 0, or rows shorter than their pixels
};

/// Scales four 8-bit channels separately, in any order: Lanczos with 3 lobes, widened for a reduction so that
/// it does not alias. The views must not overlap. May be called from several threads at once.
[[nodiscard]] GEOLOOM_EXPORT vImage_Error vImageScale_ARGB8888(const vImage_Buffer& source,
                                                               const vImage_Buffer& destination);

}  // namespace geoloom::platform
