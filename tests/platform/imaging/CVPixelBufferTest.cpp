#include <cstring>

#include <gtest/gtest.h>

#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {
namespace {

TEST(CVPixelBufferTest, AlignsTheRowsOfEveryFormat) {
  struct Case {
    CVPixelFormatType format;
    std::size_t planes;
    std::size_t rowBytes[2];
    std::size_t rows[2];
  };
  const Case cases[] = {{CVPixelFormatType::BGRA32, 1, {33 * 4, 0}, {7, 0}},
                        {CVPixelFormatType::ARGB32, 1, {33 * 4, 0}, {7, 0}},
                        {CVPixelFormatType::oneComponent8, 1, {33, 0}, {7, 0}},
                        {CVPixelFormatType::biPlanarFullRange420, 2, {33, 34}, {7, 4}}};
  for (const Case& c : cases) {
    const auto buffer = CVPixelBuffer::create(33, 7, c.format);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->width(), 33U);
    EXPECT_EQ(buffer->height(), 7U);
    EXPECT_EQ(buffer->pixelFormatType(), c.format);
    ASSERT_EQ(buffer->planeCount(), c.planes);
    const CVPixelBufferLock lock(*buffer);
    for (std::size_t plane = 0; plane < c.planes; ++plane) {
      EXPECT_GE(buffer->bytesPerRow(plane), c.rowBytes[plane]);
      EXPECT_EQ(buffer->bytesPerRow(plane) % 64, 0U);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer->baseAddress(plane)) % 64, 0U);
      // AddressSanitizer finds a plane that is too small; the check below finds planes that overlap.
      std::memset(buffer->baseAddress(plane), static_cast<int>(plane + 1),
                  buffer->bytesPerRow(plane) * c.rows[plane]);
    }
    EXPECT_EQ(buffer->baseAddress()[buffer->bytesPerRow() * 7 - 1], 1);
    EXPECT_EQ(buffer->baseAddress(c.planes), nullptr);
    EXPECT_EQ(buffer->bytesPerRow(c.planes), 0U);
  }
}

TEST(CVPixelBufferTest, RefusesInvalidSizesAndFormats) {
  constexpr auto HUGE = std::numeric_limits<std::size_t>::max();
  constexpr auto BGRA = CVPixelFormatType::BGRA32;
  EXPECT_FALSE(CVPixelBuffer::create(0, 4, BGRA));
  EXPECT_FALSE(CVPixelBuffer::create(4, 0, BGRA));
  EXPECT_FALSE(CVPixelBuffer::create(HUGE, 4, BGRA));
  EXPECT_FALSE(CVPixelBuffer::create(std::size_t{1} << 30, std::size_t{1} << 30, BGRA));
  EXPECT_FALSE(CVPixelBuffer::create(4, 4, static_cast<CVPixelFormatType>(7)));

  int released = 0;
  const auto release = [&] { ++released; };
  std::vector<std::uint8_t> bytes(64);
  EXPECT_FALSE(CVPixelBuffer::createWithBytes(4, 4, BGRA, nullptr, 16, release));
  EXPECT_FALSE(CVPixelBuffer::createWithBytes(4, 4, BGRA, bytes.data(), 15, release));
  EXPECT_FALSE(CVPixelBuffer::createWithBytes(4, 4, CVPixelFormatType::biPlanarFullRange420, bytes.data(), 16,
                                              release));
  EXPECT_EQ(released, 0) << "the caller keeps the bytes on failure";
}

}  // namespace
}  // namespace geoloom::platform
