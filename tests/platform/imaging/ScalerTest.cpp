#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "geoloom/platform/imaging/Scaler.h"
#include "geoloom/platform/imaging/vImage.h"

namespace geoloom::platform {
namespace {

/// Interleaved pixels whose rows may be further apart than they are long.
struct Picture {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t channels = 4;
  std::size_t rowBytes = 0;
  std::vector<std::uint8_t> bytes;

  Picture(std::size_t w, std::size_t h, std::size_t c = 4, std::size_t padding = 0)
      : width(w), height(h), channels(c), rowBytes(w * c + padding), bytes(rowBytes * h, 0xA5) {}

  std::uint8_t& at(std::size_t x, std::size_t y, std::size_t c) {
    return bytes[y * rowBytes + x * channels + c];
  }
  [[nodiscard]] std::uint8_t at(std::size_t x, std::size_t y, std::size_t c) const {
    return bytes[y * rowBytes + x * channels + c];
  }
  [[nodiscard]] PixelSource source() const { return {bytes.data(), width, height, rowBytes}; }
  PixelTarget target() { return {bytes.data(), width, height, rowBytes}; }
  [[nodiscard]] SourceRegion all() const {
    return {0, 0, static_cast<double>(width), static_cast<double>(height)};
  }
};

Picture noise(std::size_t width, std::size_t height, std::size_t channels, std::size_t padding = 0) {
  Picture picture(width, height, channels, padding);
  std::mt19937 random(7);
  for (std::size_t y = 0; y < height; ++y)
    for (std::size_t i = 0; i < width * channels; ++i)
      picture.at(0, y, i) = static_cast<std::uint8_t>(random());
  return picture;
}

TEST(ScalerTest, ReducesWithoutAliasing) {
  Picture stripes(300, 8, 1);
  Picture ramp(300, 8, 1);
  for (std::size_t y = 0; y < 8; ++y) {
    for (std::size_t x = 0; x < 300; ++x) {
      stripes.at(x, y, 0) = x % 2 == 0 ? 0 : 254;
      ramp.at(x, y, 0) = static_cast<std::uint8_t>(x * 255 / 299);
    }
  }
  for (const std::size_t width : {149U, 100U, 37U}) {
    Picture result(width, 5, 1);
    ASSERT_TRUE(scale(stripes.source(), stripes.all(), 1, result.target()));
    for (std::size_t x = 4; x + 4 < width; ++x) ASSERT_NEAR(result.at(x, 2, 0), 127, 3) << width << ' ' << x;
    ASSERT_TRUE(scale(ramp.source(), ramp.all(), 1, result.target()));
    for (std::size_t x = 4; x + 4 < width; ++x) {
      const double centre = (static_cast<double>(x) + 0.5) * 300 / static_cast<double>(width) - 0.5;
      ASSERT_NEAR(result.at(x, 2, 0), centre * 255 / 299, 1.5) << width << ' ' << x;
    }
  }
}

TEST(ScalerTest, EnlargesWithLanczosOvershoot) {
  Picture edge(40, 4, 1);
  for (std::size_t y = 0; y < 4; ++y)
    for (std::size_t x = 0; x < 40; ++x) edge.at(x, y, 0) = x < 20 ? 50 : 200;
  Picture result(400, 4, 1);
  ASSERT_TRUE(scale(edge.source(), edge.all(), 1, result.target()));
  const auto [least, largest] = std::minmax_element(result.bytes.begin(), result.bytes.end());
  // Half a pixel behind the edge the two pixels beyond it weigh sinc(1.5) sinc(0.5) + sinc(2.5) sinc(5/6) =
  // -0.111.
  EXPECT_NEAR(*least, 50 - 0.111 * 150, 1.5);
  EXPECT_NEAR(*largest, 200 + 0.111 * 150, 1.5);
}

TEST(ScalerTest, SmallSizesKeepAPlainColour) {
  for (const std::size_t from : {1U, 2U, 3U, 7U, 64U}) {
    for (const std::size_t to : {1U, 2U, 3U, 5U, 17U, 200U}) {
      Picture source(from, 65 - from);
      for (std::size_t i = 0; i < source.bytes.size(); ++i)
        source.bytes[i] = static_cast<std::uint8_t>(60 * (i % 4) + 9);
      Picture result(to, 201 - to);
      ASSERT_TRUE(scale(source.source(), source.all(), 4, result.target())) << from << " to " << to;
      for (std::size_t i = 0; i < result.bytes.size(); ++i)
        ASSERT_EQ(result.bytes[i], 60 * (i % 4) + 9) << from << " to " << to << " at " << i;
    }
  }
}

TEST(ScalerTest, SameSizeCopiesAndChannelsDoNotMix) {
  const Picture source = noise(33, 21, 4);
  Picture copy(33, 21);
  ASSERT_TRUE(scale(source.source(), source.all(), 4, copy.target()));
  EXPECT_EQ(copy.bytes, source.bytes);

  Picture result(20, 40);
  ASSERT_TRUE(scale(source.source(), source.all(), 4, result.target()));
  for (std::size_t c = 0; c < 4; ++c) {
    Picture plane(33, 21, 1);
    for (std::size_t i = 0; i < plane.bytes.size(); ++i) plane.bytes[i] = source.bytes[4 * i + c];
    Picture alone(20, 40, 1);
    ASSERT_TRUE(scale(plane.source(), plane.all(), 1, alone.target()));
    for (std::size_t i = 0; i < alone.bytes.size(); ++i)
      ASSERT_EQ(alone.bytes[i], result.bytes[4 * i + c]) << c;
  }
}

TEST(VImageTest, RefusesInvalidViews) {
  std::vector<std::uint8_t> memory(4 * 4 * 4);
  const vImage_Buffer good{memory.data(), 4, 4, 16};
  EXPECT_EQ(vImageScale_ARGB8888({nullptr, 4, 4, 16}, good), kvImageNullPointerArgument);
  EXPECT_EQ(vImageScale_ARGB8888(good, {nullptr, 4, 4, 16}), kvImageNullPointerArgument);
  EXPECT_EQ(vImageScale_ARGB8888({memory.data(), 0, 4, 16}, good), kvImageBufferSizeMismatch);
  EXPECT_EQ(vImageScale_ARGB8888({memory.data(), 4, 4, 15}, good), kvImageBufferSizeMismatch);
  EXPECT_EQ(vImageScale_ARGB8888(good, {memory.data(), 4, std::size_t{1} << 62, 16}),
            kvImageBufferSizeMismatch);
}

}  // namespace
}  // namespace geoloom::platform
