#include "geoloom/platform/imaging/CGImage.h"

#include <utility>

#include "geoloom/platform/imaging/Pixels.h"

namespace geoloom::platform {

CGImage::CGImage(std::size_t width, std::size_t height, std::size_t bytesPerRow, CGPixelLayout layout,
                 std::shared_ptr<const std::uint8_t> bytes)
    : width_(width), height_(height), bytesPerRow_(bytesPerRow), layout_(layout), bytes_(std::move(bytes)) {}

std::shared_ptr<CGImage> CGImage::create(std::size_t width, std::size_t height, std::size_t bytesPerRow,
                                         CGPixelLayout layout, std::shared_ptr<const std::uint8_t> bytes,
                                         std::size_t byteCount) {
  if (!bytes || !layout.isValid() || !isAddressable(width, height, bytesPerRow, layout.bytesPerPixel()))
    return nullptr;
  if (byteCount / bytesPerRow < height) return nullptr;
  return std::shared_ptr<CGImage>(new CGImage(width, height, bytesPerRow, layout, std::move(bytes)));
}

}  // namespace geoloom::platform
