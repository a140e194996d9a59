#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

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

/// Turns, crops, scales and converts a picture into a network's input in one pass over the input's pixels.
/// Interpolates bilinearly between the centres of the picture's pixels and repeats the pixels at its edges.
/// Reads BGRA, ARGB, gray and full-range bi-planar 4:2:0 (BT.601, chroma centred between its luma pixels);
/// alpha is ignored. Reuses its tables, so an object serves one thread at a time.
class ImagePreparation {
 public:
  /// Writes 3 * width * height floats to `planes`.
  void prepare(const CVPixelBuffer& picture, EXIFOrientation orientation, VNImageCropAndScaleOption option,
               const NetworkInput& input, float* planes);

 private:
  /// The two samples that one step along an axis of the input reads in a plane of the picture.
  struct Tap {
    std::ptrdiff_t first = 0;   ///< bytes from the plane's start
    std::ptrdiff_t second = 0;  ///< bytes from the first sample to its neighbour, 0 at an edge
    float weight = 0;           ///< of the neighbour
  };
  struct Axis {
    std::vector<Tap> taps;
    std::vector<Tap> chromaTaps;
  };

  void layOut(const CVPixelBuffer& picture, EXIFOrientation orientation, VNImageCropAndScaleOption option,
              const NetworkInput& input);
  template <class Sampler>
  void fill(const Sampler& sample, const NetworkInput& input, float* planes) const;

  std::array<Axis, 2> axes_;                          ///< along the input's x and y
  std::array<std::size_t, 2> begin_ = {}, end_ = {};  ///< the part of the input that shows the picture
};

}  // namespace geoloom::platform
