#include <array>

#include <gtest/gtest.h>
#include <libyuv.h>

#include "geoloom/platform/vision/ImagePreparation.h"

namespace geoloom::platform {
namespace {

using enum EXIFOrientation;
using enum CVPixelFormatType;

/// Red, green and blue of the upright test picture at a pixel.
std::array<std::uint8_t, 3> colourAt(std::size_t x, std::size_t y) {
  return {static_cast<std::uint8_t>(10 * x), static_cast<std::uint8_t>(12 * y),
          static_cast<std::uint8_t>(3 * x + 7 * y)};
}

/// Stores the upright picture of that size as its orientation says.
std::shared_ptr<CVPixelBuffer> stored(std::size_t width, std::size_t height, EXIFOrientation orientation,
                                      CVPixelFormatType format) {
  const bool isTransposed = orientation >= leftTop;
  auto buffer = CVPixelBuffer::create(isTransposed ? height : width, isTransposed ? width : height, format);
  for (std::size_t row = 0; row < buffer->height(); ++row) {
    for (std::size_t column = 0; column < buffer->width(); ++column) {
      // Row 0 and column 0 lie at the two sides of the upright picture that the orientation names.
      std::size_t x = isTransposed ? row : column;
      std::size_t y = isTransposed ? column : row;
      if (orientation == topRight || orientation == bottomRight || orientation == rightTop ||
          orientation == rightBottom)
        x = width - 1 - x;
      if (orientation == bottomRight || orientation == bottomLeft || orientation == rightBottom ||
          orientation == leftBottom)
        y = height - 1 - y;
      const auto [r, g, b] = colourAt(x, y);
      std::uint8_t* pixel = buffer->baseAddress() + row * buffer->bytesPerRow();
      if (format == oneComponent8) {
        pixel[column] = g;
        continue;
      }
      const std::array<std::uint8_t, 4> bytes = format == BGRA32 ? std::array<std::uint8_t, 4>{b, g, r, 9}
                                                                 : std::array<std::uint8_t, 4>{9, r, g, b};
      std::copy(bytes.begin(), bytes.end(), pixel + 4 * column);
    }
  }
  return buffer;
}

std::vector<float> prepared(const CVPixelBuffer& picture, EXIFOrientation orientation,
                            VNImageCropAndScaleOption option, const NetworkInput& input) {
  std::vector<float> planes(3 * input.width * input.height, 1e9F);
  prepareImage(picture, orientation, option, input, planes.data());
  return planes;
}

TEST(ImagePreparation, CropsTurnsAndConvertsEveryOrientationAndFormat) {
  // At the picture's own scale no pixel is mixed with another.
  const NetworkInput input = {15, 15, true, 127.5F, -1};
  for (int way = 1; way <= 8; ++way) {
    const auto orientation = static_cast<EXIFOrientation>(way);
    for (const auto format : {BGRA32, ARGB32, oneComponent8}) {
      const auto planes = prepared(*stored(20, 15, orientation, format), orientation,
                                   VNImageCropAndScaleOption::centerCrop, input);
      for (std::size_t i = 0; i < planes.size(); ++i) {
        const auto colour = colourAt(2 + i % 15, i / 15 % 15);
        const std::size_t channel = format == oneComponent8 ? 1 : 2 - i / 225;
        ASSERT_NEAR(planes[i], static_cast<float>(colour[channel]) / 127.5F - 1, 1e-5)
            << "orientation " << way << " at " << i;
      }
    }
  }
}

TEST(ImagePreparation, ScalesBilinearly) {
  const auto planes = prepared(*stored(20, 15, rightTop, BGRA32), rightTop,
                               VNImageCropAndScaleOption::scaleFill, {10, 5, false, 1, 0});
  for (std::size_t x = 0; x < 10; ++x) {
    EXPECT_NEAR(planes[20 + x], 10 * (2 * static_cast<double>(x) + 0.5), 0.6) << x;
    EXPECT_NEAR(planes[50 + 20 + x], 12 * 7, 0.6) << x;
  }
}

TEST(ImagePreparation, FitsOnBlackAndFillsByStretching) {
  const auto white = CVPixelBuffer::create(40, 20, oneComponent8);
  std::fill_n(white->baseAddress(), white->bytesPerRow() * 20, std::uint8_t{255});
  const NetworkInput input = {40, 40, false, 255, 0};
  const auto fitted = prepared(*white, topLeft, VNImageCropAndScaleOption::scaleFit, input);
  const auto filled = prepared(*white, topLeft, VNImageCropAndScaleOption::scaleFill, input);
  for (std::size_t i = 0; i < fitted.size(); ++i) {
    const std::size_t row = i / 40 % 40;
    ASSERT_EQ(fitted[i], row >= 10 && row < 30 ? 1 : 0) << i;
    ASSERT_EQ(filled[i], 1) << i;
  }
}

TEST(ImagePreparation, ConvertsBiPlanarPicturesLikeLibyuv) {
  // Smooth, so that the position of chroma between luma hardly matters. The crop begins at an odd pixel.
  const auto picture = CVPixelBuffer::create(65, 47, biPlanarFullRange420);
  for (std::size_t y = 0; y < 47; ++y) {
    for (std::size_t x = 0; x < 65; ++x) {
      picture->baseAddress()[y * picture->bytesPerRow() + x] = static_cast<std::uint8_t>(20 + 2 * x + y);
      std::uint8_t* chroma = picture->baseAddress(1) + y / 2 * picture->bytesPerRow(1) + x / 2 * 2;
      chroma[0] = static_cast<std::uint8_t>(60 + x + y);
      chroma[1] = static_cast<std::uint8_t>(190 - x - y / 2);
    }
  }
  const auto converted = CVPixelBuffer::create(65, 47, BGRA32);
  libyuv::NV12ToARGBMatrix(picture->baseAddress(), static_cast<int>(picture->bytesPerRow()),
                           picture->baseAddress(1), static_cast<int>(picture->bytesPerRow(1)),
                           converted->baseAddress(), static_cast<int>(converted->bytesPerRow()),
                           &libyuv::kYuvJPEGConstants, 65, 47);
  const NetworkInput input = {31, 31, false, 1, 0};
  const auto direct = prepared(*picture, rightTop, VNImageCropAndScaleOption::centerCrop, input);
  const auto viaBGRA = prepared(*converted, rightTop, VNImageCropAndScaleOption::centerCrop, input);
  for (std::size_t i = 0; i < direct.size(); ++i) ASSERT_NEAR(direct[i], viaBGRA[i], 6) << i;
}

}  // namespace
}  // namespace geoloom::platform
