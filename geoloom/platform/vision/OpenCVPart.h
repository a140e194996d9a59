#pragma once

#include <functional>
#include <span>
#include <string>

#include "geoloom/base/Result.h"
#include "geoloom/platform/vision/ModelManifest.h"

/// What geoloom-opencv.so and the library that loads it agree on.
namespace geoloom::platform {

/// Runs a network; see NetworkEngine::run. A function, since a class that both define would be two types.
using OpenCVRun = std::function<base::Result<void>(const std::function<void(float* planes)>& fill,
                                                   std::span<float* const> outputs)>;

/// Exported by the part as OPENCV_PART_SYMBOL. Fails if OpenCV does not understand the file or an output is
/// missing.
using LoadOpenCVNetwork = void(const std::string& path, const ModelManifest& manifest,
                               base::Result<OpenCVRun>& loaded);
constexpr const char* OPENCV_PART_SYMBOL = "geoloomLoadOpenCVNetwork";

}  // namespace geoloom::platform
