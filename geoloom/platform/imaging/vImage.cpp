#include "geoloom/platform/imaging/vImage.h"

#include "geoloom/platform/imaging/Scaler.h"

namespace geoloom::platform {

namespace {

bool holdsItsRows(const vImage_Buffer& view) {
  return view.width > 0 && view.height > 0 && view.rowBytes / 4 >= view.width;
}

}  // namespace

vImage_Error vImageScale_ARGB8888(const vImage_Buffer& source, const vImage_Buffer& destination) {
  if (source.data == nullptr || destination.data == nullptr) return kvImageNullPointerArgument;
  if (!holdsItsRows(source) || !holdsItsRows(destination)) return kvImageBufferSizeMismatch;
  const PixelSource from{static_cast<const std::uint8_t*>(source.data), source.width, source.height,
                         source.rowBytes};
  const PixelTarget to{static_cast<std::uint8_t*>(destination.data), destination.width, destination.height,
                       destination.rowBytes};
  const SourceRegion all{0, 0, static_cast<double>(source.width), static_cast<double>(source.height)};
  return scale(from, all, 4, to) ? kvImageNoError : kvImageInvalidParameter;
}

}  // namespace geoloom::platform
