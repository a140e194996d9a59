#include "geoloom/platform/imaging/JPEG.h"

#include <turbojpeg.h>

#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {
namespace {

constexpr std::int64_t MAXIMUM_PIXELS = std::int64_t{1} << 28;

struct DestroyHandle {
  void operator()(void* handle) const { tjDestroy(handle); }
};

}  // namespace

bool isJPEG(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF;
}

base::Result<std::shared_ptr<CVPixelBuffer>> decodeJPEG(std::span<const std::uint8_t> bytes,
                                                        const std::string& name) {
  const std::unique_ptr<void, DestroyHandle> decoder(tjInitDecompress());
  if (!decoder) return base::Failure{name + ": out of memory"};
  const auto damaged = [&] {
    return base::Failure{name + ": damaged JPEG file: " + tjGetErrorStr2(decoder.get())};
  };
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colours = 0;
  if (tjDecompressHeader3(decoder.get(), bytes.data(), bytes.size(), &width, &height, &subsampling,
                          &colours) != 0) {
    return damaged();
  }
  if (width <= 0 || height <= 0) return base::Failure{name + ": damaged JPEG file: no picture size"};
  if (std::int64_t{width} * height > MAXIMUM_PIXELS)
    return base::Failure{name + ": the picture is too large"};
  auto buffer = CVPixelBuffer::create(static_cast<std::size_t>(width), static_cast<std::size_t>(height),
                                      CVPixelFormatType::BGRA32);
  if (!buffer) return base::Failure{name + ": out of memory"};
  // Without this flag the missing part of a truncated file would be filled with gray.
  if (tjDecompress2(decoder.get(), bytes.data(), bytes.size(), buffer->baseAddress(), width,
                    static_cast<int>(buffer->bytesPerRow()), height, TJPF_BGRA, TJFLAG_STOPONWARNING) != 0) {
    return damaged();
  }
  return buffer;
}

}  // namespace geoloom::platform
