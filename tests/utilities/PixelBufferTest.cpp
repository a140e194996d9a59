#include <cstring>

#include <gmock/gmock.h>

#include "geoloom/platform/foundation/Log.h"
#include "geoloom/utilities/PixelBuffer.h"
#include "geoloom/utilities/Resize.h"

#include "tests/utilities/Fixtures.h"

namespace geoloom {
namespace {

using platform::CVPixelBuffer;
using platform::CVPixelFormatType;
using platform::vImage_Buffer;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(PixelBufferTest, CreatesBGRAOrSaysWhyNot) {
  const auto buffer = createPixelBuffer(7, 5);
  ASSERT_TRUE(buffer);
  EXPECT_EQ(buffer->pixelFormatType(), CVPixelFormatType::BGRA32);
  EXPECT_EQ(static_cast<std::uint32_t>(buffer->pixelFormatType()), 1111970369U);
  EXPECT_EQ(buffer->width(), 7U);
  EXPECT_EQ(buffer->height(), 5U);
  EXPECT_THAT(lines, IsEmpty());

  EXPECT_FALSE(createPixelBuffer(0, 5));
  EXPECT_FALSE(createPixelBuffer(7, -5));
  EXPECT_FALSE(createPixelBuffer(std::numeric_limits<std::ptrdiff_t>::max(), 5));
  EXPECT_THAT(lines, ElementsAre("Error: could not create resized pixel buffer -6661",
                                 "Error: could not create resized pixel buffer -6661",
                                 "Error: could not create resized pixel buffer -6681"));
}

TEST_F(PixelBufferTest, ScalesTheCropToANewBufferOfTheSameFormat) {
  for (const auto format : {CVPixelFormatType::BGRA32, CVPixelFormatType::ARGB32}) {
    const auto source = ramp(640, 480, format);
    const auto result = resizePixelBuffer(*source, 0, 0, 640, 480, 300, 300);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->pixelFormatType(), format);
    EXPECT_EQ(result->width(), 300U);
    EXPECT_EQ(result->height(), 300U);
    EXPECT_EQ(result->bytesPerRow(), 1200U);
    // x repeats after 256; away from the jump the ramp survives the filter.
    EXPECT_NEAR(pixelAt(*result, 50, 60)[0], (50.5 * 640 / 300) - 0.5, 1);
    EXPECT_NEAR(pixelAt(*result, 50, 60)[1], (60.5 * 480 / 300) - 0.5, 1);
    EXPECT_EQ(pixelAt(*result, 50, 60)[2], 77);
    EXPECT_EQ(pixelAt(*result, 50, 60)[3], 255);

    const auto whole = resizePixelBuffer(*source, 300, 300);
    ASSERT_TRUE(whole);
    EXPECT_TRUE(std::equal(whole->baseAddress(), whole->baseAddress() + 300 * 1200, result->baseAddress()));
  }
}

TEST_F(PixelBufferTest, CropIsReadWhereItLies) {
  const auto source = ramp(64, 48);
  for (const Crop& c : {Crop{10, 20, 8, 5}, Crop{0, 0, 64, 48}, Crop{63, 47, 1, 1}, Crop{31, 0, 33, 48}}) {
    const auto result = resizePixelBuffer(*source, c.x, c.y, c.width, c.height, c.width, c.height);
    ASSERT_TRUE(result);
    for (std::ptrdiff_t y = 0; y < c.height; ++y) {
      for (std::ptrdiff_t x = 0; x < c.width; ++x) {
        const auto* pixel = pixelAt(*result, static_cast<std::size_t>(x), static_cast<std::size_t>(y));
        ASSERT_EQ(pixel[0], c.x + x);
        ASSERT_EQ(pixel[1], c.y + y);
      }
    }
  }
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(PixelBufferTest, NeverReadsOutsideTheSource) {
  const auto source = ramp(16, 9);
  constexpr std::ptrdiff_t huge = std::numeric_limits<std::ptrdiff_t>::max();
  const std::vector<Crop> outside = {{1, 0, 16, 9},      {0, 1, 16, 9},    {-1, 0, 8, 8},
                                     {0, -1, 8, 8},      {0, 0, 0, 9},     {0, 0, 16, -9},
                                     {huge, 0, huge, 9}, {0, huge, 16, 1}, {16, 9, 1, 1}};
  for (const Crop& c : outside)
    EXPECT_FALSE(resizePixelBuffer(*source, c.x, c.y, c.width, c.height, 4, 4)) << c.x << ' ' << c.y;
  ASSERT_EQ(lines.size(), outside.size());
  EXPECT_EQ(lines[0],
            "Error: the crop rectangle (1, 0, 16 x 9) must lie inside the source, 16 x 9 pixels of 4 bytes");

  lines.clear();
  EXPECT_FALSE(resizePixelBuffer(*source, 0, 4));
  EXPECT_FALSE(resizePixelBuffer(*source, 4, -1));
  EXPECT_FALSE(resizePixelBuffer(*source, huge, 4));
  EXPECT_THAT(lines, ElementsAre("Error: the scaled size 0 x 4 must be positive",
                                 "Error: the scaled size 4 x -1 must be positive", "Error: out of memory"));
}

TEST_F(PixelBufferTest, GrayIsTakenFourBytesAtATimeOrNotAtAll) {
  std::vector<std::uint8_t> bytes(8 * 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i);
  const auto source =
      CVPixelBuffer::createWithBytes(8, 2, CVPixelFormatType::oneComponent8, bytes.data(), 8, {});
  EXPECT_FALSE(resizePixelBuffer(*source, 8, 2)) << "eight pixels of 4 bytes are not there";
  EXPECT_EQ(lines.size(), 1U);
  const auto result = resizePixelBuffer(*source, 0, 0, 2, 2, 2, 2);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->bytesPerRow(), 8U);
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), result->baseAddress()));
}

TEST_F(PixelBufferTest, RowsOfTheSourceMayBePaddedAtWill) {
  const auto expected = resizePixelBuffer(*ramp(13, 11), 5, 7);
  for (const std::size_t rowBytes : {52U, 53U, 55U, 107U, 500U}) {
    std::vector<std::uint8_t> bytes(rowBytes * 10 + 52, 0xCC);  // ends with the last pixel
    const auto plain = ramp(13, 11);
    for (std::size_t y = 0; y < 11; ++y) std::memcpy(bytes.data() + y * rowBytes, pixelAt(*plain, 0, y), 52);
    const auto source =
        CVPixelBuffer::createWithBytes(13, 11, CVPixelFormatType::BGRA32, bytes.data(), rowBytes, {});
    const auto result = resizePixelBuffer(*source, 5, 7);
    ASSERT_TRUE(result);
    EXPECT_TRUE(std::equal(result->baseAddress(), result->baseAddress() + 20 * 7, expected->baseAddress()))
        << rowBytes;
  }
}

TEST_F(PixelBufferTest, RenderedResizeFillsTheOutputInItsOwnFormat) {
  const auto source = ramp(20, 10);
  const auto output = CVPixelBuffer::create(10, 5, CVPixelFormatType::ARGB32);
  std::memset(output->baseAddress(), 1, output->bytesPerRow() * 5);
  resizePixelBuffer(source, 10, 5, *output, platform::CIContext());
  const auto expected = resizePixelBuffer(*source, 10, 5);
  for (std::size_t y = 0; y < 5; ++y) {
    for (std::size_t x = 0; x < 10; ++x) {
      const auto* argb = pixelAt(*output, x, y);
      const auto* bgra = pixelAt(*expected, x, y);
      for (std::size_t c = 0; c < 4; ++c) ASSERT_EQ(argb[c], bgra[3 - c]) << x << ' ' << y;
    }
  }
}

TEST_F(PixelBufferTest, MemoryIsReleasedOnceWhateverHappens) {
  const auto source = ramp(8, 8);
  const Crop all{0, 0, 8, 8};
  auto result = resize(*source, all, 4, 4, test::counted);
  ASSERT_TRUE(result);
  EXPECT_EQ(test::allocated, 1);
  auto second = result;
  result.reset();
  EXPECT_EQ(test::allocated, 1);
  second.reset();
  EXPECT_EQ(test::allocated, 0);

  ResizeSteps steps = test::counted;
  steps.allocate = [](std::size_t) -> void* { return nullptr; };
  EXPECT_FALSE(resize(*source, all, 4, 4, steps));
  steps = test::counted;
  steps.scale = [](const vImage_Buffer&, const vImage_Buffer&) { return platform::kvImageInternalError; };
  EXPECT_FALSE(resize(*source, all, 4, 4, steps));
  steps = test::counted;
  steps.wrap = [](std::size_t, std::size_t, CVPixelFormatType, void*, std::size_t, std::function<void()>) {
    return std::shared_ptr<CVPixelBuffer>();
  };
  EXPECT_FALSE(resize(*source, all, 4, 4, steps));
  EXPECT_EQ(test::allocated, 0);
  EXPECT_THAT(lines, ElementsAre("Error: out of memory", "Error: -21776",
                                 "Error: could not create new pixel buffer"));
#ifndef NDEBUG
  EXPECT_DEATH(source->unlockBaseAddress(), "unlockBaseAddress") << "every path unlocked what it had locked";
#endif
}

}  // namespace
}  // namespace geoloom
