#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>
#include <libyuv.h>

#include "geoloom/platform/vision/ImagePreparation.h"

namespace geoloom::platform {
namespace {

using enum EXIFOrientation;

/// A picture as an array, upright or stored.
struct Raster {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::array<std::uint8_t, 3>> pixels;  ///< red green blue
  std::array<std::uint8_t, 3>& at(std::size_t x, std::size_t y) { return pixels[y * width + x]; }
  [[nodiscard]] const std::array<std::uint8_t, 3>& at(std::size_t x, std::size_t y) const {
    return pixels[y * width + x];
  }
};

Raster randomRaster(std::size_t width, std::size_t height, unsigned seed) {
  std::mt19937 random(seed);
  Raster raster{width, height, std::vector<std::array<std::uint8_t, 3>>(width * height)};
  for (auto& pixel : raster.pixels)
    for (auto& value : pixel) value = static_cast<std::uint8_t>(random());
  return raster;
}

/// Stores an upright picture by quarter turns and mirroring.
Raster storedAs(const Raster& upright, EXIFOrientation orientation) {
  const auto mirrored = [](const Raster& in) {
    Raster out = in;
    for (std::size_t y = 0; y < in.height; ++y)
      for (std::size_t x = 0; x < in.width; ++x) out.at(x, y) = in.at(in.width - 1 - x, y);
    return out;
  };
  const auto turnedLeft = [](const Raster& in) {
    Raster out{in.height, in.width, in.pixels};
    for (std::size_t y = 0; y < out.height; ++y) {
      for (std::size_t x = 0; x < out.width; ++x) out.at(x, y) = in.at(in.width - 1 - y, x);
    }
    return out;
  };
  switch (orientation) {
    case topLeft:
      return upright;
    case topRight:
      return mirrored(upright);
    case bottomRight:
      return turnedLeft(turnedLeft(upright));
    case bottomLeft:
      return turnedLeft(turnedLeft(mirrored(upright)));
    case rightTop:
      return turnedLeft(upright);  // turned clockwise for viewing
    case leftBottom:
      return turnedLeft(turnedLeft(turnedLeft(upright)));
    case leftTop:
      return turnedLeft(mirrored(upright));
    case rightBottom:
      return turnedLeft(turnedLeft(turnedLeft(mirrored(upright))));
  }
  return upright;
}

std::shared_ptr<CVPixelBuffer> buffer(const Raster& raster, CVPixelFormatType format) {
  auto result = CVPixelBuffer::create(raster.width, raster.height, format);
  for (std::size_t y = 0; y < raster.height; ++y) {
    for (std::size_t x = 0; x < raster.width; ++x) {
      const auto& [r, g, b] = raster.at(x, y);
      std::uint8_t* row = result->baseAddress() + y * result->bytesPerRow();
      if (format == CVPixelFormatType::BGRA32) {
        const std::uint8_t bytes[] = {b, g, r, 9};
        std::copy_n(bytes, 4, row + 4 * x);
      } else if (format == CVPixelFormatType::ARGB32) {
        const std::uint8_t bytes[] = {9, r, g, b};
        std::copy_n(bytes, 4, row + 4 * x);
      } else {
        row[x] = g;
      }
    }
  }
  return result;
}

/// The bilinear sample at (x, y), in pixels from the upper left corner, in double precision.
double sampleAt(const Raster& raster, double x, double y, std::size_t colour) {
  const auto value = [&](double column, double row) {
    const auto limit = [](double place, std::size_t size) {
      return static_cast<std::size_t>(std::clamp(place, 0.0, static_cast<double>(size - 1)));
    };
    return static_cast<double>(raster.at(limit(column, raster.width), limit(row, raster.height))[colour]);
  };
  const double left = std::floor(x - 0.5);
  const double top = std::floor(y - 0.5);
  const double across = x - 0.5 - left;
  const double down = y - 0.5 - top;
  return (value(left, top) * (1 - across) + value(left + 1, top) * across) * (1 - down) +
         (value(left, top + 1) * (1 - across) + value(left + 1, top + 1) * across) * down;
}

TEST(ImagePreparation, MatchesBilinearSamplingInEveryOrientationAndFormat) {
  const NetworkInput inputs[] = {{10, 10, false, 127.5F, -1}, {12, 7, true, 1, 0}};
  ImagePreparation preparation;
  unsigned seed = 0;
  for (const auto& [width, height] :
       {std::pair<std::size_t, std::size_t>{37, 23}, {16, 41}, {3, 2}, {1, 1}}) {
    for (std::uint32_t orientation = 1; orientation <= 8; ++orientation) {
      for (const NetworkInput& input : inputs) {
        const Raster upright = randomRaster(width, height, ++seed);
        const auto way = static_cast<EXIFOrientation>(orientation);
        const Raster stored = storedAs(upright, way);
        const auto across = static_cast<double>(input.width);
        const auto down = static_cast<double>(input.height);
        const double scale =
            std::min(static_cast<double>(width) / across, static_cast<double>(height) / down);
        const double startX = (static_cast<double>(width) - scale * across) / 2;
        const double startY = (static_cast<double>(height) - scale * down) / 2;
        for (const auto format :
             {CVPixelFormatType::BGRA32, CVPixelFormatType::ARGB32, CVPixelFormatType::oneComponent8}) {
          std::vector<float> planes(3 * input.width * input.height, 1e9F);
          preparation.prepare(*buffer(stored, format), way, VNImageCropAndScaleOption::centerCrop, input,
                              planes.data());
          for (std::size_t i = 0; i < planes.size(); ++i) {
            const std::size_t plane = i / (input.width * input.height);
            const std::size_t colour =
                format == CVPixelFormatType::oneComponent8 ? 1 : (input.blueFirst ? 2 - plane : plane);
            const double x = startX + (static_cast<double>(i % input.width) + 0.5) * scale;
            const double y = startY + (static_cast<double>(i / input.width % input.height) + 0.5) * scale;
            const double expected = sampleAt(upright, x, y, colour) / input.divisor + input.offset;
            ASSERT_NEAR(planes[i], expected, 1e-3 * 255 / input.divisor)
                << width << "x" << height << " orientation " << orientation << " at " << i;
          }
        }
      }
    }
  }
}

TEST(ImagePreparation, FitsOnBlackAndFillsByStretching) {
  Raster white{40, 20, std::vector<std::array<std::uint8_t, 3>>(800, {255, 255, 255})};
  white.at(39, 10) = {0, 0, 0};
  const auto picture = buffer(white, CVPixelFormatType::BGRA32);
  const NetworkInput input = {40, 40, false, 255, 0};
  std::vector<float> planes(std::size_t{3} * 1600, -1);
  ImagePreparation preparation;
  preparation.prepare(*picture, topLeft, VNImageCropAndScaleOption::scaleFit, input, planes.data());
  EXPECT_EQ(planes[9 * 40 + 5], 0);
  EXPECT_EQ(planes[10 * 40 + 5], 1);
  EXPECT_EQ(planes[20 * 40 + 39], 0);
  EXPECT_EQ(planes[29 * 40 + 5], 1);
  EXPECT_EQ(planes[30 * 40 + 5], 0);
  preparation.prepare(*picture, topLeft, VNImageCropAndScaleOption::scaleFill, input, planes.data());
  EXPECT_EQ(planes[5], 1);
  EXPECT_EQ(planes[39 * 40 + 5], 1);
  EXPECT_NEAR(planes[20 * 40 + 39], 0.25,
              1e-6);  // a quarter of a pixel from the dark pixel's centre
}

TEST(ImagePreparation, ConvertsBiPlanarPicturesLikeLibyuv) {
  // Smooth, so that the position of chroma between luma hardly matters.
  for (const auto& [width, height] : {std::pair<std::size_t, std::size_t>{64, 48}, {65, 47}}) {
    const auto picture = CVPixelBuffer::create(width, height, CVPixelFormatType::biPlanarFullRange420);
    for (std::size_t y = 0; y < height; ++y) {
      for (std::size_t x = 0; x < width; ++x) {
        picture->baseAddress()[y * picture->bytesPerRow() + x] = static_cast<std::uint8_t>(20 + 2 * x + y);
        std::uint8_t* chroma = picture->baseAddress(1) + y / 2 * picture->bytesPerRow(1) + x / 2 * 2;
        chroma[0] = static_cast<std::uint8_t>(60 + x + y);
        chroma[1] = static_cast<std::uint8_t>(190 - x - y / 2);
      }
    }
    const auto converted = CVPixelBuffer::create(width, height, CVPixelFormatType::BGRA32);
    libyuv::NV12ToARGBMatrix(picture->baseAddress(), static_cast<int>(picture->bytesPerRow()),
                             picture->baseAddress(1), static_cast<int>(picture->bytesPerRow(1)),
                             converted->baseAddress(), static_cast<int>(converted->bytesPerRow()),
                             &libyuv::kYuvJPEGConstants, static_cast<int>(width), static_cast<int>(height));
    const NetworkInput input = {31, 31, false, 1, 0};
    std::vector<float> direct(std::size_t{3} * 31 * 31);
    std::vector<float> viaBGRA(direct.size());
    ImagePreparation preparation;
    for (std::uint32_t way = 1; way <= 8; ++way) {
      const auto orientation = static_cast<EXIFOrientation>(way);
      preparation.prepare(*picture, orientation, VNImageCropAndScaleOption::centerCrop, input, direct.data());
      preparation.prepare(*converted, orientation, VNImageCropAndScaleOption::centerCrop, input,
                          viaBGRA.data());
      for (std::size_t i = 0; i < direct.size(); ++i)
        ASSERT_NEAR(direct[i], viaBGRA[i], 5) << way << " at " << i;
    }
  }
}

}  // namespace
}  // namespace geoloom::platform
