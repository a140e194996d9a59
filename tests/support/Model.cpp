#include "tests/support/Model.h"

#include <algorithm>

#include "geoloom/platform/foundation/LibraryBundle.h"

namespace geoloom::test {

std::filesystem::path builtModel() {
  return GEOLOOM_TEST_MODEL;
}

std::filesystem::path photographs() {
  return GEOLOOM_TEST_PHOTOS;
}

std::filesystem::path photograph(const std::string& name) {
  return photographs() / (name + ".png");
}

bool haveModelAndPhotographs() {
  return std::filesystem::exists(builtModel() / "manifest.json") &&
         std::filesystem::exists(photograph("dog"));
}

std::shared_ptr<platform::CVPixelBuffer> sensorImageOf(const platform::CVPixelBuffer& upright) {
  auto sensor = platform::CVPixelBuffer::create(upright.height(), upright.width(), upright.pixelFormatType());
  for (std::size_t y = 0; y < upright.height(); ++y)
    for (std::size_t x = 0; x < upright.width(); ++x)
      std::copy_n(upright.baseAddress() + y * upright.bytesPerRow() + 4 * x, 4,
                  sensor->baseAddress() + (upright.width() - 1 - x) * sensor->bytesPerRow() + 4 * y);
  return sensor;
}

void useBuiltModel() {
  useBuiltOpenCVEngine();
  platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", builtModel());
}

void useBuiltOpenCVEngine() {
  platform::LibraryBundle::setPathForResource("geoloom-opencv", "so",
                                              builtModel().parent_path() / "geoloom-opencv.so");
}

}  // namespace geoloom::test
