// The text files of a recording's folder, four in an input, separated by lines of "====": rgb.txt, depth.txt,
// groundtruth.txt, calibration.txt. The folder contains a small image and a depth image, "c.png" and "d.png".

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <unistd.h>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/recording/ARRecording.h"

#include "fuzz/Expect.h"
#include "fuzz/Pieces.h"

using namespace geoloom;
using namespace geoloom::platform;

namespace {

constexpr std::size_t SIDE = 24;

/// The folder of this process, with its images. It is in the working directory, which the caller removes.
const std::filesystem::path& folder() {
  static const auto& instance = *new std::filesystem::path([] {
    auto path = std::filesystem::current_path() / ("recording." + std::to_string(getpid()));
    std::filesystem::create_directory(path);
    std::vector<std::uint8_t> colours(SIDE * SIDE * 3);
    std::vector<std::uint16_t> depths(SIDE * SIDE);
    for (std::size_t i = 0; i < depths.size(); ++i) {
      const bool light = (i / 6 + i / SIDE / 6) % 2 == 0;
      colours[3 * i] = colours[3 * i + 1] = colours[3 * i + 2] = light ? 230 : 20;
      depths[i] = static_cast<std::uint16_t>(i % 7 * 5000);
    }
    GEOLOOM_EXPECT(!writePNG(path / "c.png", {SIDE, SIDE, 3, std::move(colours)}));
    GEOLOOM_EXPECT(!writePNG(path / "d.png", {SIDE, SIDE, 1, std::move(depths)}));
    return path;
  }());
  return instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto files = geoloom::fuzz::pieces({reinterpret_cast<const char*>(data), size});
  constexpr std::array NAMES = {"rgb.txt", "depth.txt", "groundtruth.txt", "calibration.txt"};
  for (std::size_t i = 0; i < NAMES.size(); ++i) {
    if (i < files.size()) {
      std::ofstream(folder() / NAMES[i], std::ios::binary) << files[i];
    } else {
      std::filesystem::remove(folder() / NAMES[i]);
    }
  }

  const auto recording = ARRecording::open(folder());
  if (!recording) {
    GEOLOOM_EXPECT(recording.failure().message.find('\n') == std::string::npos);
    return 0;
  }
  double last = (*recording)->timestamp(0);
  for (std::size_t i = 0; i < (*recording)->frameCount(); ++i) {
    const double time = (*recording)->timestamp(i);
    GEOLOOM_EXPECT(std::isfinite(time) && time >= last);
    last = time;
    if (i < 3) (void)(*recording)->frame(i);
  }
  for (const auto& problem : (*recording)->problems()) {
    GEOLOOM_EXPECT(problem.find('\n') == std::string::npos);
  }
  return 0;
}
