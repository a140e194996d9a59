#include "geoloom/platform/vision/ImagePreparation.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace geoloom::platform {

namespace {

/// Four floats in one register; the compilers we build with know it on every machine.
using Four = float __attribute__((vector_size(16)));
using FourBytes = std::uint8_t __attribute__((vector_size(4)));

Four loadFour(const std::uint8_t* pixel) {
  FourBytes bytes;
  std::memcpy(&bytes, pixel, sizeof bytes);
  return __builtin_convertvector(bytes, Four);
}

/// How an axis of the upright picture lies in the stored one.
struct StoredAxis {
  bool alongRows = false;  ///< the axis runs down the stored picture's rows, not across its columns
  bool reversed = false;
};

std::array<StoredAxis, 2> storedAxes(CGImagePropertyOrientation orientation) {
  using enum CGImagePropertyOrientation;
  switch (orientation) {
    case up:
      return {{{false, false}, {true, false}}};
    case upMirrored:
      return {{{false, true}, {true, false}}};
    case down:
      return {{{false, true}, {true, true}}};
    case downMirrored:
      return {{{false, false}, {true, true}}};
    case leftMirrored:
      return {{{true, false}, {false, false}}};
    case right:
      return {{{true, true}, {false, false}}};
    case rightMirrored:
      return {{{true, true}, {false, true}}};
    case left:
      return {{{true, false}, {false, true}}};
  }
  return {{{false, false}, {true, false}}};
}

/// A stretch of the upright picture and the part of the input that shows it, along one axis.
struct Window {
  double start = 0;
  double length = 0;
  std::size_t begin = 0;
  std::size_t end = 0;
};

std::array<Window, 2> windows(const std::array<double, 2>& upright, const NetworkInput& input,
                              VNImageCropAndScaleOption option) {
  const std::array<std::size_t, 2> size = {input.width, input.height};
  const std::array<double, 2> scale = {upright[0] / static_cast<double>(size[0]),
                                       upright[1] / static_cast<double>(size[1])};
  std::array<Window, 2> result;
  for (std::size_t axis = 0; axis < 2; ++axis) {
    const auto pixels = static_cast<double>(size[axis]);
    Window& window = result[axis];
    window = {0, upright[axis], 0, size[axis]};
    if (option == VNImageCropAndScaleOption::centerCrop) {
      window.length = pixels * std::min(scale[0], scale[1]);
      window.start = (upright[axis] - window.length) / 2;
    } else if (option == VNImageCropAndScaleOption::scaleFit) {
      const double shown = upright[axis] / std::max(scale[0], scale[1]);
      const auto count = std::clamp<std::size_t>(static_cast<std::size_t>(std::lround(shown)), 1, size[axis]);
      window.begin = (size[axis] - count) / 2;
      window.end = window.begin + count;
    }
  }
  return result;
}

/// Where every step along one axis reads. The plane has one sample for `pixelsPerSample` pixels of the
/// picture, which are `length` along this axis; its neighbouring samples are `sampleBytes` apart.
template <class Tap>
void fillTaps(std::vector<Tap>& taps, const StoredAxis& way, const Window& window, double length,
              std::size_t pixelsPerSample, std::size_t sampleBytes) {
  const std::size_t samples = (static_cast<std::size_t>(length) + pixelsPerSample - 1) / pixelsPerSample;
  const auto step = static_cast<std::ptrdiff_t>(sampleBytes);
  const std::size_t count = window.end - window.begin;
  taps.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double upright =
        window.start + (static_cast<double>(i) + 0.5) * window.length / static_cast<double>(count);
    const double place =
        (way.reversed ? length - upright : upright) / static_cast<double>(pixelsPerSample) - 0.5;
    const double inside = std::clamp(place, 0.0, static_cast<double>(samples - 1));
    const double low = std::floor(inside);
    const bool last = static_cast<std::size_t>(low) + 1 >= samples;
    taps[i] = {static_cast<std::ptrdiff_t>(low) * step, last ? 0 : step, static_cast<float>(inside - low)};
  }
}

/// Samples of a one-plane format with four bytes a pixel: the place of red, green and blue in them.
template <int red, int green, int blue>
struct ColourSampler {
  const std::uint8_t* base;

  template <class Tap>
  Four operator()(const Tap& x, const Tap& y, const Tap&, const Tap&) const {
    const std::uint8_t* pixel = base + x.first + y.first;
    const Four near = loadFour(pixel) * (1 - x.weight) + loadFour(pixel + x.second) * x.weight;
    pixel += y.second;
    const Four far = loadFour(pixel) * (1 - x.weight) + loadFour(pixel + x.second) * x.weight;
    const Four value = near * (1 - y.weight) + far * y.weight;
    return Four{value[red], value[green], value[blue], 0};
  }
};

template <class Tap>
float sampleByte(const std::uint8_t* base, const Tap& x, const Tap& y) {
  const std::uint8_t* pixel = base + x.first + y.first;
  const float near =
      static_cast<float>(pixel[0]) * (1 - x.weight) + static_cast<float>(pixel[x.second]) * x.weight;
  pixel += y.second;
  const float far =
      static_cast<float>(pixel[0]) * (1 - x.weight) + static_cast<float>(pixel[x.second]) * x.weight;
  return near * (1 - y.weight) + far * y.weight;
}

struct GraySampler {
  const std::uint8_t* base;

  template <class Tap>
  Four operator()(const Tap& x, const Tap& y, const Tap&, const Tap&) const {
    const float gray = sampleByte(base, x, y);
    return Four{gray, gray, gray, 0};
  }
};

/// Full-range BT.601, as JFIF gives it.
struct BiPlanarSampler {
  const std::uint8_t* luma;
  const std::uint8_t* chroma;

  template <class Tap>
  Four operator()(const Tap& x, const Tap& y, const Tap& chromaX, const Tap& chromaY) const {
    const float bright = sampleByte(luma, x, y);
    const float cb = sampleByte(chroma, chromaX, chromaY) - 128;
    const float cr = sampleByte(chroma + 1, chromaX, chromaY) - 128;
    const Four colour = {bright + 1.402F * cr, bright - 0.344136F * cb - 0.714136F * cr, bright + 1.772F * cb,
                         0};
    const Four low = {0, 0, 0, 0};
    const Four high = {255, 255, 255, 255};
    const Four floored = colour < low ? low : colour;
    return floored > high ? high : floored;
  }
};

}  // namespace

template <class Sampler>
void ImagePreparation::fill(const Sampler& sample, const NetworkInput& input, float* planes) const {
  const std::size_t plane = input.width * input.height;
  float* const first = planes + (input.blueFirst ? 2 * plane : 0);
  float* const second = planes + plane;
  float* const third = planes + (input.blueFirst ? 0 : 2 * plane);
  const float scale = 1 / input.divisor;
  for (std::size_t j = begin_[1]; j < end_[1]; ++j) {
    const Tap& y = axes_[1].taps[j - begin_[1]];
    const Tap& chromaY = axes_[1].chromaTaps[j - begin_[1]];
    for (std::size_t i = begin_[0]; i < end_[0]; ++i) {
      const Four value =
          sample(axes_[0].taps[i - begin_[0]], y, axes_[0].chromaTaps[i - begin_[0]], chromaY) * scale;
      const std::size_t place = j * input.width + i;
      first[place] = value[0] + input.offset;
      second[place] = value[1] + input.offset;
      third[place] = value[2] + input.offset;
    }
  }
}

void ImagePreparation::layOut(const CVPixelBuffer& picture, CGImagePropertyOrientation orientation,
                              VNImageCropAndScaleOption option, const NetworkInput& input) {
  const auto stored = storedAxes(orientation);
  const std::array<double, 2> size = {static_cast<double>(picture.width()),
                                      static_cast<double>(picture.height())};
  const auto shown =
      windows({size[stored[0].alongRows ? 1 : 0], size[stored[1].alongRows ? 1 : 0]}, input, option);
  const auto format = picture.pixelFormatType();
  const bool biPlanar = format == CVPixelFormatType::biPlanarFullRange420;
  const std::size_t pixelBytes = biPlanar || format == CVPixelFormatType::oneComponent8 ? 1 : 4;
  for (std::size_t axis = 0; axis < 2; ++axis) {
    const bool rows = stored[axis].alongRows;
    begin_[axis] = shown[axis].begin;
    end_[axis] = shown[axis].end;
    fillTaps(axes_[axis].taps, stored[axis], shown[axis], size[rows ? 1 : 0], 1,
             rows ? picture.bytesPerRow() : pixelBytes);
    axes_[axis].chromaTaps.resize(axes_[axis].taps.size());
    if (!biPlanar) continue;
    fillTaps(axes_[axis].chromaTaps, stored[axis], shown[axis], size[rows ? 1 : 0], 2,
             rows ? picture.bytesPerRow(1) : 2);
  }
}

void ImagePreparation::prepare(const CVPixelBuffer& picture, CGImagePropertyOrientation orientation,
                               VNImageCropAndScaleOption option, const NetworkInput& input, float* planes) {
  layOut(picture, orientation, option, input);
  if (option == VNImageCropAndScaleOption::scaleFit)
    std::fill_n(planes, 3 * input.width * input.height, input.offset);
  const std::uint8_t* base = picture.baseAddress();
  switch (picture.pixelFormatType()) {
    case CVPixelFormatType::BGRA32:
      return fill(ColourSampler<2, 1, 0>{base}, input, planes);
    case CVPixelFormatType::ARGB32:
      return fill(ColourSampler<1, 2, 3>{base}, input, planes);
    case CVPixelFormatType::oneComponent8:
      return fill(GraySampler{base}, input, planes);
    case CVPixelFormatType::biPlanarFullRange420:
      return fill(BiPlanarSampler{base, picture.baseAddress(1)}, input, planes);
  }
}

}  // namespace geoloom::platform
