#pragma once

#include <cstddef>

#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/vision/EXIFOrientation.h"
#include "geoloom/platform/vision/VNImageCropAndScaleOption.h"

namespace geoloom::platform {

/// A network's input: three planes, one per colour, of width x height floats, each byte / divisor + offset.
struct NetworkInput {
  std::size_t width = 0;
  std::size_t height = 0;
  bool blueFirst = false;
  float divisor = 1;
  float offset = 0;
};

/// Crops, scales, turns and converts a picture into a network's input: 3 * width * height floats at `planes`.
/// The crop is rounded to whole pixels (even ones if there are two planes). Scaling is bilinear between the
/// centres of pixels, rounded to 8 bits. Reads all formats of CVPixelBuffer; alpha is ignored.
void prepareImage(const CVPixelBuffer& picture, EXIFOrientation orientation, VNImageCropAndScaleOption option,
                  const NetworkInput& input, float* planes);

}  // namespace geoloom::platform
