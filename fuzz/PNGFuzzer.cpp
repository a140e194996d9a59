// PNG pictures. A decoded picture must be the same after encoding and decoding. Every input is read as it is
// and again with corrected checksums; without that, every change of the fuzzer would fail at the checksums.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include <zlib.h>

#include "geoloom/platform/imaging/PNG.h"

#include "fuzz/Expect.h"

using namespace geoloom;
using namespace geoloom::platform;

namespace {

std::uint32_t bigEndian(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
         bytes[3];
}

/// Chunks are a length, a name, as many bytes, and a checksum of the name and the bytes.
std::vector<std::uint8_t> withRightChecksums(std::span<const std::uint8_t> input) {
  std::vector<std::uint8_t> file(input.begin(), input.end());
  for (std::size_t at = 8; at + 12 <= file.size();) {
    const std::size_t length = bigEndian(file.data() + at);
    if (length > file.size() - at - 12) break;
    const auto sum =
        static_cast<std::uint32_t>(crc32(0, file.data() + at + 4, static_cast<unsigned>(length) + 4));
    at += 12 + length;
    for (std::size_t i = 1; i <= 4; ++i) file[at - i] = static_cast<std::uint8_t>(sum >> (8 * (i - 1)));
  }
  return file;
}

void decode(std::span<const std::uint8_t> file) {
  const auto image = decodePNG(file, "input");
  if (!image) return;
  GEOLOOM_EXPECT(image->width > 0 && image->height > 0);
  const std::size_t samples = image->width * image->height * image->channels;
  GEOLOOM_EXPECT(image->samples8() != nullptr ? image->samples8()->size() == samples
                                              : image->samples16()->size() == samples);
  if (samples > 1U << 16) return;

  const auto written = encodePNG(*image, 1);
  GEOLOOM_EXPECT(written);
  const auto again = decodePNG(*written, "again");
  GEOLOOM_EXPECT(again && again->channels == image->channels && again->samples == image->samples);
  const auto buffer = makePixelBuffer(*image);
  GEOLOOM_EXPECT(buffer && buffer->width() == image->width && buffer->height() == image->height);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  decode({data, size});
  decode(withRightChecksums({data, size}));
  return 0;
}
