#pragma once

#include <filesystem>
#include <string>

#include "geoloom/platform/foundation/LibraryBundle.h"

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

/// Makes detectors of this process load the built model.
inline void useBuiltModel() {
  platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", builtModel());
}

}  // namespace geoloom::test
