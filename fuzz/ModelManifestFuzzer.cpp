// Manifests of model bundles.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "geoloom/platform/vision/ModelManifest.h"

#include "fuzz/Expect.h"

using namespace geoloom;
using namespace geoloom::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto manifest = parseModelManifest({reinterpret_cast<const char*>(data), size}, "input");
  if (!manifest) {
    const std::string& message = manifest.failure().message;
    GEOLOOM_EXPECT(message.starts_with("input") && message.find('\n') == std::string::npos);
    return 0;
  }
  // A loader relies on these: the network is inside the bundle, and sizes can be multiplied.
  GEOLOOM_EXPECT(!manifest->network.empty() && manifest->network.find('/') == std::string::npos);
  GEOLOOM_EXPECT(manifest->network != ".." && manifest->network != ".");
  GEOLOOM_EXPECT(manifest->inputWidth > 0 && manifest->inputWidth <= ModelManifest::MAXIMUM_SIDE);
  GEOLOOM_EXPECT(manifest->inputHeight > 0 && manifest->inputHeight <= ModelManifest::MAXIMUM_SIDE);
  GEOLOOM_EXPECT(std::isfinite(manifest->divisor) && manifest->divisor != 0 &&
                 std::isfinite(manifest->offset));
  for (const auto& output : manifest->outputs) {
    double elements = 1;
    for (const std::ptrdiff_t side : output.shape) {
      GEOLOOM_EXPECT(side > 0);
      elements *= static_cast<double>(side);
    }
    GEOLOOM_EXPECT(elements < 0x1p62);
  }
  return 0;
}
