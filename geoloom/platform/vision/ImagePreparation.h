#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

/// How a stored picture is turned for viewing, by the EXIF tag's values: the side that row 0 and column 0 of
/// the stored picture have in the upright one.
enum class CGImagePropertyOrientation : std::uint32_t {
  up = 1,             ///< top, left
  upMirrored = 2,     ///< top, right
  down = 3,           ///< bottom, right
  downMirrored = 4,   ///< bottom, left
  leftMirrored = 5,   ///< left, top
  right = 6,          ///< right, top: turned 90 degrees clockwise for viewing
  rightMirrored = 7,  ///< right, bottom
  left = 8,           ///< left, bottom
};

/// How the upright picture comes to the network's size.
enum class VNImageCropAndScaleOption : std::uint32_t {
  centerCrop = 0,  ///< the largest rectangle of the input's aspect in the middle
  scaleFit = 1,    ///< all of it, in the middle of black
  scaleFill = 2,   ///< all of it, stretched
};

/// What a network takes: three planes, one a colour, of width x height floats, each byte / divisor + offset.
struct NetworkInput {
  std::size_t width = 0;
  std::size_t height = 0;
  bool blueFirst = false;
  float divisor = 1;
  float offset = 0;
};

/// Turns, crops, scales and converts a picture straight into a network's input, in one pass over the input's
/// pixels: bilinear between the centres of the picture's pixels, repeated at its edges. BGRA, ARGB, gray and
/// full-range bi-planar 4:2:0 (BT.601, chroma between the luma pixels it belongs to) alike; alpha is ignored.
/// Keeps its tables from one picture to the next, so one object serves one thread at a time.
class ImagePreparation {
 public:
  /// `planes` receives 3 * width * height floats.
  void prepare(const CVPixelBuffer& picture, CGImagePropertyOrientation orientation,
               VNImageCropAndScaleOption option, const NetworkInput& input, float* planes);

 private:
  /// Where one step along an axis of the input reads in one plane of the picture.
  struct Tap {
    std::ptrdiff_t first = 0;   ///< bytes from the plane's start
    std::ptrdiff_t second = 0;  ///< bytes from the first sample to its neighbour, 0 at an edge
    float weight = 0;           ///< of the neighbour
  };
  struct Axis {
    std::vector<Tap> taps;
    std::vector<Tap> chromaTaps;
  };

  void layOut(const CVPixelBuffer& picture, CGImagePropertyOrientation orientation,
              VNImageCropAndScaleOption option, const NetworkInput& input);
  template <class Sampler>
  void fill(const Sampler& sample, const NetworkInput& input, float* planes) const;

  std::array<Axis, 2> axes_;                          ///< along the input's x and y
  std::array<std::size_t, 2> begin_ = {}, end_ = {};  ///< the part of the input that shows the picture
};

}  // namespace geoloom::platform
