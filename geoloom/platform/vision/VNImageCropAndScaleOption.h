#pragma once

#include <cstdint>

namespace geoloom::platform {

/// How the upright picture is fitted to the network's input.
enum class VNImageCropAndScaleOption : std::uint32_t {
  centerCrop = 0,  ///< the largest centred rectangle of the input's aspect
  scaleFit = 1,    ///< the whole picture, centred on black
  scaleFill = 2,   ///< the whole picture, stretched
};

}  // namespace geoloom::platform
