#include <cstring>

#include <gtest/gtest.h>

#include "geoloom/platform/imaging/CIContext.h"
#include "geoloom/platform/imaging/UIImage.h"

namespace geoloom::platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// The rows of a buffer without their padding.
Bytes rowsOf(const CVPixelBuffer& buffer, std::size_t pixelBytes) {
  Bytes bytes;
  for (std::size_t y = 0; y < buffer.height(); ++y) {
    const std::uint8_t* row = buffer.baseAddress() + y * buffer.bytesPerRow();
    bytes.insert(bytes.end(), row, row + buffer.width() * pixelBytes);
  }
  return bytes;
}

TEST(UIImageConversionTest, WrapsBytesWithoutACopy) {
  Bytes bytes(8);
  const std::uint8_t* const address = bytes.data();
  const auto image = UIImage::fromByteArrayGray(std::move(bytes), 4, 2);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->cgImage()->width(), 4U);
  EXPECT_EQ(image->cgImage()->height(), 2U);
  EXPECT_EQ(image->cgImage()->bytesPerRow(), 4U);
  EXPECT_EQ(image->cgImage()->layout(), (CGPixelLayout{CGColorSpace::deviceGray, CGImageAlphaInfo::none}));
  EXPECT_EQ(image->cgImage()->bytes(), address);
  EXPECT_EQ(image->imageOrientation(), UIImageOrientation::up);

  const auto colour = UIImage::fromByteArrayRGBA(Bytes(4 * 2 * 4), 4, 2, 3.0, UIImageOrientation::down);
  ASSERT_TRUE(colour);
  EXPECT_EQ(colour->cgImage()->bytesPerRow(), 16U);
  EXPECT_EQ(colour->cgImage()->layout(),
            (CGPixelLayout{CGColorSpace::deviceRGB, CGImageAlphaInfo::premultipliedLast}));
  EXPECT_EQ(colour->scale(), 3.0);
  EXPECT_EQ(colour->imageOrientation(), UIImageOrientation::down);
}

TEST(UIImageConversionTest, RefusesTooFewBytes) {
  EXPECT_FALSE(UIImage::fromByteArrayGray(Bytes(7), 4, 2));
  EXPECT_TRUE(UIImage::fromByteArrayGray(Bytes(9), 4, 2));
  EXPECT_FALSE(UIImage::fromByteArrayRGBA(Bytes(31), 4, 2));
  EXPECT_FALSE(UIImage::fromByteArrayRGBA(Bytes(), 0, 0));
  EXPECT_FALSE(UIImage::fromByteArrayRGBA(Bytes(8), std::size_t{1} << 62, 1));
}

TEST(UIImageConversionTest, DrawsTheTopRowAtTheTop) {
  const auto image = UIImage::fromByteArrayRGBA({255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255}, 1, 3);
  const auto buffer = image->pixelBuffer(1, 3);
  ASSERT_TRUE(buffer);
  EXPECT_EQ(buffer->pixelFormatType(), CVPixelFormatType::ARGB32);
  EXPECT_EQ(rowsOf(*buffer, 4), (Bytes{255, 255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255}));

  const auto gray = image->pixelBufferGray(1, 3);
  ASSERT_TRUE(gray);
  EXPECT_EQ(gray->pixelFormatType(), CVPixelFormatType::oneComponent8);
  EXPECT_EQ(rowsOf(*gray, 1), (Bytes{77, 149, 29}));
}

TEST(UIImageConversionTest, StretchesToFill) {
  const auto image = UIImage::fromByteArrayGray({200, 30}, 2, 1);
  EXPECT_EQ(rowsOf(*image->pixelBufferGray(2, 3), 1), (Bytes{200, 30, 200, 30, 200, 30}));
  EXPECT_FALSE(image->pixelBuffer(0, 3));
  EXPECT_FALSE(image->pixelBufferGray(2, 0));
}

TEST(UIImageConversionTest, DrawsTranslucentImagesOverBlack) {
  const auto image = UIImage::fromByteArrayRGBA({40, 80, 120, 128}, 1, 1);
  EXPECT_EQ(rowsOf(*image->pixelBuffer(1, 1), 4), (Bytes{255, 40, 80, 120}));
}

TEST(UIImageConversionTest, CameraBuffersAreTurnedAndRenderedOnesUpright) {
  for (const auto format : {CVPixelFormatType::BGRA32, CVPixelFormatType::ARGB32,
                            CVPixelFormatType::oneComponent8, CVPixelFormatType::biPlanarFullRange420}) {
    const auto buffer = CVPixelBuffer::create(6, 4, format);
    for (std::size_t plane = 0; plane < buffer->planeCount(); ++plane)
      std::memset(buffer->baseAddress(plane), 128, buffer->bytesPerRow(plane) * (plane == 0 ? 4 : 2));
    const auto shown = UIImage::create(buffer);
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->imageOrientation(), UIImageOrientation::right);
    EXPECT_EQ(shown->scale(), 1.0);
    EXPECT_EQ(shown->size(), (CGSize{4, 6}));
    const auto rendered = UIImage::create(buffer, CIContext());
    ASSERT_TRUE(rendered);
    EXPECT_EQ(rendered->imageOrientation(), UIImageOrientation::up);
    EXPECT_EQ(rendered->size(), (CGSize{6, 4}));
    EXPECT_EQ(rowsOf(*rendered->pixelBufferGray(6, 4), 1), rowsOf(*shown->pixelBufferGray(6, 4), 1));
  }
  EXPECT_FALSE(UIImage::create(std::shared_ptr<CVPixelBuffer>()));
  EXPECT_FALSE(UIImage::create(std::shared_ptr<CVPixelBuffer>(), CIContext()));
}

TEST(UIImageConversionTest, ImageKeepsTheBufferItShares) {
  std::shared_ptr<UIImage> image;
  Bytes bytes = {10, 20, 30, 40};
  int released = 0;
  {
    const auto buffer = CVPixelBuffer::createWithBytes(2, 2, CVPixelFormatType::oneComponent8, bytes.data(),
                                                       2, [&released] { ++released; });
    image = UIImage::create(buffer);
    const auto rendered = UIImage::create(buffer, CIContext());
    EXPECT_NE(rendered->cgImage()->bytes(), bytes.data());
  }
  EXPECT_EQ(image->cgImage()->bytes(), bytes.data());
  EXPECT_EQ(released, 0);
  image.reset();
  EXPECT_EQ(released, 1);
}

}  // namespace
}  // namespace geoloom::platform
