// PNG pictures. What decodes is written and decodes to the same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "geoloom/platform/imaging/PNG.h"

#include "fuzz/Expect.h"

using namespace geoloom::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto image = decodePNG({data, size}, "input");
  if (!image) return 0;
  GEOLOOM_EXPECT(image->width > 0 && image->height > 0);
  const std::size_t samples = image->width * image->height * image->channels;
  GEOLOOM_EXPECT(image->samples8() != nullptr ? image->samples8()->size() == samples
                                              : image->samples16()->size() == samples);
  if (samples > 1U << 16) return 0;

  const auto written = encodePNG(*image, 1);
  GEOLOOM_EXPECT(written);
  const auto again = decodePNG(*written, "again");
  GEOLOOM_EXPECT(again && again->channels == image->channels && again->samples == image->samples);
  const auto buffer = makePixelBuffer(*image);
  GEOLOOM_EXPECT(buffer && buffer->width() == image->width && buffer->height() == image->height);
  return 0;
}
