#include "geoloom/platform/vision/ImagePreparation.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace geoloom::platform {

namespace {

/// Four floats in one register, a vector type that GCC and clang have for every target.
using Four = float __attribute__((vector_size(16)));

/// Converts the four bytes of a pixel. Written as two interleavings with zeros, which GCC 12 compiles to
/// three instructions; a plain conversion is compiled byte by byte.
Four loadFour(const std::uint8_t* pixel) {
  using Bytes = std::uint8_t __attribute__((vector_size(16)));
  using Shorts = std::int16_t __attribute__((vector_size(16)));
  using Words = std::int32_t __attribute__((vector_size(16)));
  static_assert(std::endian::native == std::endian::little);
  std::int32_t word = 0;
  std::memcpy(&word, pixel, sizeof word);
  const Bytes bytes = __builtin_shufflevector(reinterpret_cast<Bytes>(Words{word, 0, 0, 0}), Bytes{}, 0, 16,
                                              1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  const Shorts shorts =
      __builtin_shufflevector(reinterpret_cast<Shorts>(bytes), Shorts{}, 0, 8, 1, 9, 2, 10, 3, 11);
  return __builtin_convertvector(reinterpret_cast<Words>(shorts), Four);
}

Four splat(float value) {
  return Four{value, value, value, value};
}

Four between(Four a, Four b, Four weight) {
  return a + (b - a) * weight;
}

/// Swaps rows and columns.
std::array<Four, 4> transposed(const std::array<Four, 4>& m) {
  const Four low = __builtin_shufflevector(m[0], m[1], 0, 4, 1, 5);
  const Four lower = __builtin_shufflevector(m[2], m[3], 0, 4, 1, 5);
  const Four high = __builtin_shufflevector(m[0], m[1], 2, 6, 3, 7);
  const Four higher = __builtin_shufflevector(m[2], m[3], 2, 6, 3, 7);
  return {__builtin_shufflevector(low, lower, 0, 1, 4, 5), __builtin_shufflevector(low, lower, 2, 3, 6, 7),
          __builtin_shufflevector(high, higher, 0, 1, 4, 5),
          __builtin_shufflevector(high, higher, 2, 3, 6, 7)};
}

/// Which axis of the stored picture an axis of the upright one is.
struct StoredAxis {
  bool alongRows = false;  ///< the axis crosses the stored picture's rows, not its columns
  bool reversed = false;
};

std::array<StoredAxis, 2> storedAxes(EXIFOrientation orientation) {
  using enum EXIFOrientation;
  switch (orientation) {
    case topLeft:
      return {{{false, false}, {true, false}}};
    case topRight:
      return {{{false, true}, {true, false}}};
    case bottomRight:
      return {{{false, true}, {true, true}}};
    case bottomLeft:
      return {{{false, false}, {true, true}}};
    case leftTop:
      return {{{true, false}, {false, false}}};
    case rightTop:
      return {{{true, true}, {false, false}}};
    case rightBottom:
      return {{{true, true}, {false, true}}};
    case leftBottom:
      return {{{true, false}, {false, true}}};
  }
  return {{{false, false}, {true, false}}};
}

/// Along one axis, a range of the upright picture and the range of input pixels that shows it.
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

/// Computes the samples that every step along one axis reads. The plane has one sample per `pixelsPerSample`
/// pixels of the picture, whose size along this axis is `length`; adjacent samples are `sampleBytes` apart.
template <class Tap>
void fillTaps(std::vector<Tap>& taps, const StoredAxis& axis, const Window& window, double length,
              std::size_t pixelsPerSample, std::size_t sampleBytes) {
  const std::size_t samples = (static_cast<std::size_t>(length) + pixelsPerSample - 1) / pixelsPerSample;
  const auto step = static_cast<std::ptrdiff_t>(sampleBytes);
  const std::size_t count = window.end - window.begin;
  taps.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double upright =
        window.start + (static_cast<double>(i) + 0.5) * window.length / static_cast<double>(count);
    const double place =
        (axis.reversed ? length - upright : upright) / static_cast<double>(pixelsPerSample) - 0.5;
    const double inside = std::clamp(place, 0.0, static_cast<double>(samples - 1));
    const double low = std::floor(inside);
    const bool last = static_cast<std::size_t>(low) + 1 >= samples;
    taps[i] = {static_cast<std::ptrdiff_t>(low) * step, last ? 0 : step, static_cast<float>(inside - low)};
  }
}

/// Samples a one-plane format with four bytes per pixel; the parameters are the positions of the colours.
template <int red, int green, int blue>
struct ColourSampler {
  const std::uint8_t* base;

  template <class Tap>
  Four operator()(const Tap& x, const Tap& y, const Tap&, const Tap&) const {
    const std::uint8_t* pixel = base + x.first + y.first;
    const Four across = splat(x.weight);
    const Four near = between(loadFour(pixel), loadFour(pixel + x.second), across);
    pixel += y.second;
    const Four far = between(loadFour(pixel), loadFour(pixel + x.second), across);
    const Four value = between(near, far, splat(y.weight));
    return __builtin_shufflevector(value, value, red, green, blue, red);
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

/// Full-range BT.601, as in JFIF.
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
  const Four scale = splat(1 / input.divisor);
  const Four offset = splat(input.offset);
  const auto fillTile = [&](std::size_t left, std::size_t top, std::size_t right, std::size_t bottom) {
    for (std::size_t j = top; j < bottom; ++j) {
      const Tap& y = axes_[1].taps[j - begin_[1]];
      const Tap& chromaY = axes_[1].chromaTaps[j - begin_[1]];
      const auto at = [&](std::size_t i) {
        const std::size_t place = i - begin_[0];
        return sample(axes_[0].taps[place], y, axes_[0].chromaTaps[place], chromaY) * scale + offset;
      };
      std::size_t i = left;
      for (; i + 4 <= right; i += 4) {
        const auto colours = transposed({at(i), at(i + 1), at(i + 2), at(i + 3)});
        const std::size_t place = j * input.width + i;
        std::memcpy(first + place, &colours[0], sizeof(Four));
        std::memcpy(second + place, &colours[1], sizeof(Four));
        std::memcpy(third + place, &colours[2], sizeof(Four));
      }
      for (; i < right; ++i) {
        const Four value = at(i);
        const std::size_t place = j * input.width + i;
        first[place] = value[0];
        second[place] = value[1];
        third[place] = value[2];
      }
    }
  };
  // A picture turned by 90 degrees is read across its rows. Tiles keep those rows in the cache.
  constexpr std::size_t TILE = 32;
  for (std::size_t top = begin_[1]; top < end_[1]; top += TILE) {
    for (std::size_t left = begin_[0]; left < end_[0]; left += TILE) {
      fillTile(left, top, std::min(left + TILE, end_[0]), std::min(top + TILE, end_[1]));
    }
  }
}

void ImagePreparation::layOut(const CVPixelBuffer& picture, EXIFOrientation orientation,
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

void ImagePreparation::prepare(const CVPixelBuffer& picture, EXIFOrientation orientation,
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
