#include <algorithm>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "geoloom/platform/imaging/CIContext.h"
#include "geoloom/platform/imaging/VideoToolbox.h"

namespace geoloom::platform {
namespace {

using enum CVPixelFormatType;

std::shared_ptr<CVPixelBuffer> filled(std::size_t width, std::size_t height, CVPixelFormatType format,
                                      std::uint8_t value) {
  auto buffer = CVPixelBuffer::create(width, height, format);
  for (std::size_t plane = 0; plane < buffer->planeCount(); ++plane) {
    const std::size_t rows = plane == 0 ? height : (height + 1) / 2;
    std::memset(buffer->baseAddress(plane), value, buffer->bytesPerRow(plane) * rows);
  }
  return buffer;
}

std::uint8_t gray(const CVPixelBuffer& buffer, std::size_t x, std::size_t y) {
  return buffer.baseAddress()[y * buffer.bytesPerRow() + x];
}

TEST(CIImageTest, ConcatenatesTransforms) {
  const CIImage image(filled(10, 20, oneComponent8, 0));
  const CIImage moved = image.transformed(CGAffineTransformMakeScale(2, 0.5)).transformed({-1, 1, 5, 3});
  EXPECT_EQ(moved.extent(), (CGRect{{-15, 3}, {20, 10}}));
  EXPECT_EQ(image.extent(), (CGRect{{0, 0}, {10, 20}}));
}

TEST(CIContextTest, RendersFromTheBottomLeftAndClearsTheRest) {
  const auto output = filled(6, 5, oneComponent8, 7);
  ASSERT_TRUE(CIContext().render(
      CIImage(filled(2, 2, oneComponent8, 200)).transformed(CGAffineTransformMakeScale(2, 1)), *output));
  for (std::size_t y = 0; y < 5; ++y)
    for (std::size_t x = 0; x < 6; ++x)
      EXPECT_EQ(gray(*output, x, y), x < 4 && y >= 3 ? 200 : 0) << x << ' ' << y;
}

TEST(CIContextTest, KeepsRowOrderAndAlpha) {
  const auto source = filled(3, 2, BGRA32, 0);
  std::mt19937 random(2);
  for (std::size_t i = 0; i < 3 * 4; ++i) source->baseAddress()[i] = static_cast<std::uint8_t>(random());
  const auto output = filled(3, 2, BGRA32, 99);
  ASSERT_TRUE(CIContext().render(CIImage(source), *output));
  EXPECT_TRUE(std::equal(source->baseAddress(), source->baseAddress() + 12, output->baseAddress()));
  EXPECT_TRUE(std::all_of(output->baseAddress() + output->bytesPerRow(),
                          output->baseAddress() + output->bytesPerRow() + 12,
                          [](std::uint8_t b) { return b == 0; }));
}

TEST(CIContextTest, CopiesARectangle) {
  const auto source = filled(4, 3, oneComponent8, 0);
  for (std::size_t y = 0; y < 3; ++y)
    for (std::size_t x = 0; x < 4; ++x)
      source->baseAddress()[y * source->bytesPerRow() + x] = static_cast<std::uint8_t>(10 * y + x);
  const CIContext context;
  const auto part = context.createCGImage(CIImage(source), {{1, 0}, {2, 2}});
  ASSERT_TRUE(part);
  EXPECT_EQ(std::vector<std::uint8_t>(part->bytes(), part->bytes() + 4),
            (std::vector<std::uint8_t>{11, 12, 21, 22}));
  const auto beyond = context.createCGImage(CIImage(source), {{3, 2}, {2, 2}});
  EXPECT_EQ(std::vector<std::uint8_t>(beyond->bytes(), beyond->bytes() + 4),
            (std::vector<std::uint8_t>{0, 0, 3, 0}));
  EXPECT_FALSE(context.createCGImage(CIImage(source), {{0, 0}, {0, 2}}));
  EXPECT_FALSE(context.createCGImage(CIImage(nullptr), {{0, 0}, {2, 2}}));
}

TEST(CIContextTest, ReadsTheTwoPlanesOfACamera) {
  const auto camera = CVPixelBuffer::create(3, 3, biPlanarFullRange420);
  std::memset(camera->baseAddress(0), 110, camera->bytesPerRow(0) * 3);
  for (std::size_t at = 0; at < camera->bytesPerRow(1) * 2; ++at)
    camera->baseAddress(1)[at] = at % 2 == 0 ? 120 : 150;
  const auto image = VTCreateCGImageFromCVPixelBuffer(camera);
  ASSERT_TRUE(image);
  const std::uint8_t* last = image->bytes() + 2 * image->bytesPerRow() + 8;
  EXPECT_NEAR(last[2], 110 + 1.402 * 22, 1.6);
  EXPECT_NEAR(last[1], 110 + 0.344136 * 8 - 0.714136 * 22, 1.6);
  EXPECT_NEAR(last[0], 110 - 1.772 * 8, 1.6);
  EXPECT_EQ(last[3], 255);
  EXPECT_FALSE(CIContext().render(CIImage(camera), *camera)) << "cannot render into two planes";
}

}  // namespace
}  // namespace geoloom::platform
