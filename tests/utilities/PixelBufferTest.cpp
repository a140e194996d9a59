#include <cstring>

#include <gmock/gmock.h>

#include "geoloom/utilities/PixelBuffer.h"

#include "tests/utilities/ConsoleTest.h"

namespace geoloom {
namespace {

using platform::CVPixelBuffer;
using platform::CVPixelFormatType;
using testing::ElementsAre;

using PixelBufferTest = test::ConsoleTest;

/// Pixel (x, y) holds x, y, a fixed value and 255.
std::shared_ptr<CVPixelBuffer> ramp(std::size_t width, std::size_t height,
                                    CVPixelFormatType format = CVPixelFormatType::BGRA32) {
  auto buffer = CVPixelBuffer::create(width, height, format);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      std::uint8_t* pixel = buffer->baseAddress() + y * buffer->bytesPerRow() + 4 * x;
      pixel[0] = static_cast<std::uint8_t>(x);
      pixel[1] = static_cast<std::uint8_t>(y);
      pixel[2] = 77;
      pixel[3] = 255;
    }
  }
  return buffer;
}

const std::uint8_t* pixelAt(const CVPixelBuffer& buffer, std::size_t x, std::size_t y) {
  return buffer.baseAddress() + y * buffer.bytesPerRow() + 4 * x;
}

TEST_F(PixelBufferTest, CreatesBGRAOrPrintsTheStatus) {
  const auto buffer = createPixelBuffer(7, 5);
  ASSERT_TRUE(buffer);
  EXPECT_EQ(static_cast<std::uint32_t>(buffer->pixelFormatType()), 1111970369U);
  EXPECT_EQ(buffer->width(), 7U);
  EXPECT_EQ(buffer->height(), 5U);
  EXPECT_FALSE(createPixelBuffer(0, 5));
  EXPECT_FALSE(createPixelBuffer(7, std::numeric_limits<std::size_t>::max()));
  EXPECT_THAT(lines, ElementsAre("Error: could not create resized pixel buffer -6661",
                                 "Error: could not create resized pixel buffer -6681"));
}

TEST_F(PixelBufferTest, ScalesTheCropToANewBufferOfTheSameFormat) {
  for (const auto format : {CVPixelFormatType::BGRA32, CVPixelFormatType::ARGB32}) {
    const auto source = ramp(640, 480, format);
    const auto result = resizePixelBuffer(source, 0, 0, 640, 480, 300, 300);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->pixelFormatType(), format);
    EXPECT_EQ(result->width(), 300U);
    EXPECT_EQ(result->height(), 300U);
    EXPECT_EQ(result->bytesPerRow(), 1200U);
    // x repeats after 256; away from the jump the ramp survives the filter.
    EXPECT_NEAR(pixelAt(*result, 50, 60)[0], (50.5 * 640 / 300) - 0.5, 1);
    EXPECT_NEAR(pixelAt(*result, 50, 60)[1], (60.5 * 480 / 300) - 0.5, 1);
    EXPECT_EQ(pixelAt(*result, 50, 60)[2], 77);

    const auto whole = resizePixelBuffer(source, 300, 300);
    ASSERT_TRUE(whole);
    EXPECT_TRUE(std::equal(whole->baseAddress(), whole->baseAddress() + 300 * 1200, result->baseAddress()));
  }
}

struct Crop {
  std::size_t x, y, width, height;
};

TEST_F(PixelBufferTest, ReadsTheCropInPlace) {
  std::vector<std::uint8_t> bytes(500 * 48);  // rows with padding
  const auto plain = ramp(64, 48);
  for (std::size_t y = 0; y < 48; ++y) std::memcpy(bytes.data() + y * 500, pixelAt(*plain, 0, y), 256);
  const auto source =
      CVPixelBuffer::createWithBytes(64, 48, CVPixelFormatType::BGRA32, bytes.data(), 500, {});
  for (const Crop& c : {Crop{10, 20, 8, 5}, Crop{0, 0, 64, 48}, Crop{63, 47, 1, 1}, Crop{31, 0, 33, 48}}) {
    const auto result = resizePixelBuffer(source, c.x, c.y, c.width, c.height, c.width, c.height);
    ASSERT_TRUE(result);
    for (std::size_t y = 0; y < c.height; ++y) {
      for (std::size_t x = 0; x < c.width; ++x) {
        ASSERT_EQ(pixelAt(*result, x, y)[0], c.x + x);
        ASSERT_EQ(pixelAt(*result, x, y)[1], c.y + y);
      }
    }
  }
}

TEST_F(PixelBufferTest, RefusesCropsOutsideTheSource) {
  const auto source = ramp(16, 9);
  constexpr std::size_t HUGE = std::numeric_limits<std::size_t>::max();
  const std::vector<Crop> outside = {{1, 0, 16, 9}, {0, 1, 16, 9}, {HUGE, 0, 8, 8},    {0, HUGE, 8, 8},
                                     {17, 0, 0, 9}, {16, 9, 1, 1}, {HUGE, 0, HUGE, 9}, {8, 8, HUGE, HUGE}};
  for (const Crop& c : outside)
    EXPECT_FALSE(resizePixelBuffer(source, c.x, c.y, c.width, c.height, 4, 4)) << c.x << ' ' << c.y;
  ASSERT_EQ(lines.size(), outside.size());
  EXPECT_EQ(lines[0],
            "Error: the crop rectangle (1, 0, 16 x 9) must lie inside the source, 16 x 9 pixels of 4 bytes");
}

TEST_F(PixelBufferTest, PrintsWhyAResizeFails) {
  const auto source = ramp(16, 9);
  const auto planar = CVPixelBuffer::create(16, 4, CVPixelFormatType::biPlanarFullRange420);
  constexpr std::size_t HUGE = std::numeric_limits<std::size_t>::max();
  EXPECT_FALSE(resizePixelBuffer(nullptr, 4, 4));
  EXPECT_FALSE(resizePixelBuffer(source, 0, 4));
  EXPECT_FALSE(resizePixelBuffer(source, 4, 0));
  EXPECT_FALSE(resizePixelBuffer(source, 8, 4, 0, 3, 4, 4));
  EXPECT_FALSE(resizePixelBuffer(source, HUGE, 4));
  EXPECT_FALSE(resizePixelBuffer(planar, 0, 0, 4, 4, 2, 2));
  EXPECT_THAT(lines, ElementsAre("Error: could not get pixel buffer base address", "Error: -21774",
                                 "Error: -21774", "Error: -21774", "Error: out of memory",
                                 "Error: could not create new pixel buffer"));
#ifndef NDEBUG
  EXPECT_DEATH(source->unlockBaseAddress(), "unlockBaseAddress") << "every path unlocks the source";
#endif
}

TEST_F(PixelBufferTest, TakesGrayFourBytesAtATime) {
  std::vector<std::uint8_t> bytes(8 * 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i);
  const auto source =
      CVPixelBuffer::createWithBytes(8, 2, CVPixelFormatType::oneComponent8, bytes.data(), 8, {});
  EXPECT_FALSE(resizePixelBuffer(source, 8, 2)) << "a row has only two pixels of 4 bytes";
  const auto result = resizePixelBuffer(source, 0, 0, 2, 2, 2, 2);
  ASSERT_TRUE(result);
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), result->baseAddress()));
}

TEST_F(PixelBufferTest, RendersIntoTheOutputsFormat) {
  const auto source = ramp(20, 10);
  const auto output = CVPixelBuffer::create(10, 5, CVPixelFormatType::ARGB32);
  resizePixelBuffer(source, 10, 5, output, platform::CIContext());
  const auto expected = resizePixelBuffer(source, 10, 5);
  for (std::size_t y = 0; y < 5; ++y) {
    for (std::size_t x = 0; x < 10; ++x) {
      for (std::size_t c = 0; c < 4; ++c)
        ASSERT_EQ(pixelAt(*output, x, y)[c], pixelAt(*expected, x, y)[3 - c]) << x << ' ' << y;
    }
  }
}

}  // namespace
}  // namespace geoloom
