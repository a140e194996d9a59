#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "geoloom/platform/imaging/CVPixelBuffer.h"

/// The detection model and the photographs that scripts/setup and the build provide. A test that needs them
/// is skipped, with a message, if they are missing.
namespace geoloom::test {

/// Folder of the model that was built beside the library.
[[nodiscard]] std::filesystem::path builtModel();

[[nodiscard]] std::filesystem::path photographs();
[[nodiscard]] std::filesystem::path photograph(const std::string& name);

[[nodiscard]] bool haveModelAndPhotographs();

/// A photograph as the sensor of a phone held upright would deliver it: its top edge at the right of the
/// image.
[[nodiscard]] std::shared_ptr<platform::CVPixelBuffer> sensorImageOf(const platform::CVPixelBuffer& upright);

/// Makes detectors of this process load the built model.
void useBuiltModel();

/// Makes models of this process that oneDNN does not run load the engine that was built beside the library.
void useBuiltOpenCVEngine();

}  // namespace geoloom::test
