#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>

#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

/// The detection model and the photographs that scripts/setup and the build provide. Where they are missing a
/// test that needs them says so and is skipped.
namespace geoloom::test {

/// Folder of the model that was built beside the library.
inline std::filesystem::path builtModel() {
  return GEOLOOM_TEST_MODEL;
}

inline std::filesystem::path photograph(const std::string& name) {
  return std::filesystem::path(GEOLOOM_TEST_PHOTOS) / (name + ".png");
}

inline bool haveModelAndPhotographs() {
  return std::filesystem::exists(builtModel() / "manifest.json") &&
         std::filesystem::exists(photograph("dog"));
}

/// A photograph as the sensor of a phone held upright would deliver it: its top edge at the right of what the
/// user sees.
inline std::shared_ptr<platform::CVPixelBuffer> sensorImageOf(const platform::CVPixelBuffer& upright) {
  auto sensor = platform::CVPixelBuffer::create(upright.height(), upright.width(), upright.pixelFormatType());
  for (std::size_t y = 0; y < upright.height(); ++y)
    for (std::size_t x = 0; x < upright.width(); ++x)
      std::copy_n(upright.baseAddress() + y * upright.bytesPerRow() + 4 * x, 4,
                  sensor->baseAddress() + (upright.width() - 1 - x) * sensor->bytesPerRow() + 4 * y);
  return sensor;
}

/// Makes detectors of this process load the built model.
inline void useBuiltModel() {
  platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", builtModel());
}

}  // namespace geoloom::test
