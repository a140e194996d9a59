#include "geoloom/platform/vision/ImagePreparation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include <libyuv.h>

namespace geoloom::platform {

namespace {

/// The way from a stored picture to the upright one: rows and columns exchanged, then mirrored.
struct Turn {
  bool transposed;
  bool leftToRight;
  bool upsideDown;
};

/// In the order of EXIFOrientation, from 1.
constexpr std::array<Turn, 8> TURNS{{{false, false, false},
                                     {false, true, false},
                                     {false, true, true},
                                     {false, false, true},
                                     {true, false, false},
                                     {true, true, false},
                                     {true, true, true},
                                     {true, false, true}}};

struct Size {
  int width;
  int height;
};

/// A part of a plane of interleaved bytes.
struct Part {
  const std::uint8_t* front;
  std::size_t bytesPerRow;
  Size size;
};

/// Interleaved bytes without gaps between rows.
struct Pixels {
  std::size_t channels;
  std::vector<std::uint8_t> bytes;
};

/// The two source pixels of a target pixel, with weights of 11 bits.
struct Tap {
  std::size_t first;
  std::size_t second;
  std::int16_t firstWeight;
  std::int16_t secondWeight;
};

std::vector<Tap> tapsOf(int source, int target) {
  const double scale = 1 / (static_cast<double>(target) / source);
  std::vector<Tap> taps;
  for (int i = 0; i < target; ++i) {
    const auto place = static_cast<float>((i + 0.5) * scale - 0.5);
    const float floor = std::floor(place);
    const float fraction = place - floor;
    const auto index = [&](int at) { return static_cast<std::size_t>(std::clamp(at, 0, source - 1)); };
    const auto weight = [](float part) { return static_cast<std::int16_t>(std::lrint(part * 2048)); };
    const int first = static_cast<int>(floor);
    taps.push_back({index(first), index(first + 1), weight(1 - fraction), weight(fraction)});
  }
  return taps;
}

/// Mixes neighbours in a row, then rows. The low bits are dropped so that products stay within 32 bits.
template <std::size_t CHANNELS>
Pixels scaled(const Part& part, Size size) {
  const auto columns = tapsOf(part.size.width, size.width);
  const auto rows = tapsOf(part.size.height, size.height);
  const std::size_t count = CHANNELS * columns.size();
  Pixels result{CHANNELS, std::vector<std::uint8_t>(count * rows.size())};
  std::vector<std::int16_t> upper(count);
  std::vector<std::int16_t> lower(count);
  const auto mixColumns = [&](std::size_t row, std::vector<std::int16_t>& mixed) {
    const std::uint8_t* const source = part.front + row * part.bytesPerRow;
    std::int16_t* target = mixed.data();
    for (const Tap& tap : columns) {
      const std::uint8_t* const first = source + CHANNELS * tap.first;
      const std::uint8_t* const second = source + CHANNELS * tap.second;
      for (std::size_t c = 0; c < CHANNELS; ++c)
        *target++ =
            static_cast<std::int16_t>((first[c] * tap.firstWeight + second[c] * tap.secondWeight) >> 4);
    }
  };
  std::uint8_t* target = result.bytes.data();
  for (const Tap& row : rows) {
    mixColumns(row.first, upper);
    mixColumns(row.second, lower);
    for (std::size_t i = 0; i < count; ++i) {
      const int sum = (upper[i] * row.firstWeight >> 16) + (lower[i] * row.secondWeight >> 16);
      target[i] = static_cast<std::uint8_t>((sum + 2) >> 2);
    }
    target += count;
  }
  return result;
}

Size rounded(double width, double height, Size largest) {
  return {std::clamp(static_cast<int>(std::lround(width)), 1, largest.width),
          std::clamp(static_cast<int>(std::lround(height)), 1, largest.height)};
}

Part partOf(const CVPixelBuffer& picture, std::size_t plane, std::size_t channels, int x, int y, Size size) {
  const std::size_t bytesPerRow = picture.bytesPerRow(plane);
  return {picture.baseAddress(plane) + static_cast<std::size_t>(y) * bytesPerRow +
              channels * static_cast<std::size_t>(x),
          bytesPerRow, size};
}

/// The crop of the picture at another size, as BGRA, ARGB or gray.
Pixels scaledColours(const CVPixelBuffer& picture, int x, int y, Size crop, Size size) {
  const CVPixelFormatType format = picture.pixelFormatType();
  if (format == CVPixelFormatType::oneComponent8) return scaled<1>(partOf(picture, 0, 1, x, y, crop), size);
  if (format != CVPixelFormatType::biPlanarFullRange420)
    return scaled<4>(partOf(picture, 0, 4, x, y, crop), size);
  x -= x % 2;
  y -= y % 2;
  const Pixels luma = scaled<1>(partOf(picture, 0, 1, x, y, crop), size);
  const Size half{(crop.width + 1) / 2, (crop.height + 1) / 2};
  const Pixels chroma = scaled<2>(partOf(picture, 1, 2, x / 2, y / 2, half), size);
  const std::size_t count = luma.bytes.size();
  std::vector<std::uint8_t> planes(2 * count);
  libyuv::SplitUVPlane(chroma.bytes.data(), 2 * size.width, planes.data(), size.width, planes.data() + count,
                       size.width, size.width, size.height);
  Pixels colours{4, std::vector<std::uint8_t>(4 * count)};
  // libyuv calls BGRA by its order in a little-endian word, "ARGB".
  libyuv::I444ToARGBMatrix(luma.bytes.data(), size.width, planes.data(), size.width, planes.data() + count,
                           size.width, colours.bytes.data(), 4 * size.width, &libyuv::kYuvJPEGConstants,
                           size.width, size.height);
  return colours;
}

}  // namespace

void prepareImage(const CVPixelBuffer& picture, EXIFOrientation orientation, VNImageCropAndScaleOption option,
                  const NetworkInput& input, float* planes) {
  const Turn& turn = TURNS.at(static_cast<std::size_t>(orientation) - 1);
  const auto transposed = [&](Size size) { return turn.transposed ? Size{size.height, size.width} : size; };
  const Size target{static_cast<int>(input.width), static_cast<int>(input.height)};
  const Size upright = transposed({static_cast<int>(picture.width()), static_cast<int>(picture.height())});
  const double scaleX = static_cast<double>(upright.width) / target.width;
  const double scaleY = static_cast<double>(upright.height) / target.height;
  Size crop = upright;
  Size shown = target;
  if (option == VNImageCropAndScaleOption::centerCrop) {
    const double scale = std::min(scaleX, scaleY);
    crop = rounded(target.width * scale, target.height * scale, upright);
  } else if (option == VNImageCropAndScaleOption::scaleFit) {
    const double scale = std::max(scaleX, scaleY);
    shown = rounded(upright.width / scale, upright.height / scale, target);
    std::fill_n(planes, 3 * input.width * input.height, input.offset);
  }

  int x = (upright.width - crop.width) / 2;
  int y = (upright.height - crop.height) / 2;
  if (turn.leftToRight) x = upright.width - x - crop.width;
  if (turn.upsideDown) y = upright.height - y - crop.height;
  if (turn.transposed) std::swap(x, y);
  const Size size = transposed(shown);
  const Pixels colours = scaledColours(picture, x, y, transposed(crop), size);

  std::array<float, 256> values{};
  for (std::size_t byte = 0; byte < values.size(); ++byte)
    values[byte] =
        std::fma(static_cast<float>(byte), static_cast<float>(1 / double{input.divisor}), input.offset);
  std::array<std::size_t, 3> channels = {2, 1, 0};  // red, green, blue in BGRA
  if (picture.pixelFormatType() == CVPixelFormatType::ARGB32) channels = {1, 2, 3};
  if (colours.channels == 1) channels = {0, 0, 0};
  if (input.blueFirst) std::swap(channels[0], channels[2]);

  // Bytes from a pixel of the upright picture to the next in its row and in its column.
  const auto step = static_cast<std::ptrdiff_t>(colours.channels);
  std::ptrdiff_t across = turn.transposed ? step * size.width : step;
  std::ptrdiff_t down = turn.transposed ? step : step * size.width;
  const std::uint8_t* front = colours.bytes.data();
  if (turn.leftToRight) front += across * (shown.width - 1), across = -across;
  if (turn.upsideDown) front += down * (shown.height - 1), down = -down;
  const std::ptrdiff_t left = (target.width - shown.width) / 2;
  const std::ptrdiff_t top = (target.height - shown.height) / 2;
  const std::size_t area = input.width * input.height;
  for (std::ptrdiff_t row = 0; row < shown.height; ++row) {
    const std::uint8_t* pixel = front + row * down;
    float* value = planes + (top + row) * target.width + left;
    for (int column = 0; column < shown.width; ++column, pixel += across, ++value) {
      value[0] = values[pixel[channels[0]]];
      value[area] = values[pixel[channels[1]]];
      value[2 * area] = values[pixel[channels[2]]];
    }
  }
}

}  // namespace geoloom::platform
