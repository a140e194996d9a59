#include "tools/synthetic/ReadPicture.h"

#include <memory>
#include <span>

#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/imaging/JPEG.h"

namespace geoloom::tools {

base::Result<platform::PNGImage> readPicture(const std::filesystem::path& path) {
  constexpr std::uint64_t mostBytes = std::uint64_t{1} << 28;
  const auto text = base::readFile(path, mostBytes);
  if (!text) return text.failure();
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(text->data()), text->size());
  if (platform::isJPEG(bytes)) {
    const auto buffer = platform::decodeJPEG(bytes, path.string());
    if (!buffer) return buffer.failure();
    return platform::makePNGImage(**buffer);
  }
  auto picture = platform::decodePNG(bytes, path.string());
  if (picture && picture->samples8() == nullptr)
    return base::Failure{path.string() + ": must have 8 bits a sample"};
  return picture;
}

}  // namespace geoloom::tools
