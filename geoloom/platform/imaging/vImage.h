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

/// By the platform's published codes.
enum vImage_Error : std::ptrdiff_t {
  kvImageNoError = 0,
  kvImageMemoryAllocationError = -21771,
  kvImageNullPointerArgument = -21772,
  kvImageInvalidParameter = -21773,
  kvImageBufferSizeMismatch = -21774,
  kvImageInternalError = -21776,
};

/// Scales four 8-bit channels of any meaning, each by itself: Lanczos with 3 lobes and prefilter. Sizes from
/// 1 × 1 and any row strides that hold a row; the views do not overlap. Any number of threads.
[[nodiscard]] GEOLOOM_EXPORT vImage_Error vImageScale_ARGB8888(const vImage_Buffer& source,
                                                               const vImage_Buffer& destination);

}  // namespace geoloom::platform
