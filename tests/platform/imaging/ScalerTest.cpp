#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "geoloom/platform/imaging/PNG.h"
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

/// Rings that grow finer outwards, edges and a little grain, for machines without photographs.
Picture drawnScene() {
  Picture picture(640, 480);
  std::mt19937 random(3);
  for (std::size_t y = 0; y < picture.height; ++y) {
    for (std::size_t x = 0; x < picture.width; ++x) {
      const double dx = static_cast<double>(x) - 320;
      const double dy = static_cast<double>(y) - 240;
      const double rings = 90 * std::cos((dx * dx + dy * dy) / 900);
      const double edge = (x / 60 + y / 45) % 2 == 0 ? 40 : 0;
      const double grain = static_cast<double>(random() % 9) - 4;
      for (std::size_t c = 0; c < 4; ++c) {
        const double value = 100 + rings * (c == 1 ? -0.5 : 1) + edge * (c == 2 ? 0 : 1) + grain;
        picture.at(x, y, c) = static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0));
      }
    }
  }
  return picture;
}

/// A photograph with its luma as the fourth channel, or the drawn scene.
Picture photograph(const std::string& name) {
  const auto png = readPNG(std::filesystem::path(GEOLOOM_PHOTOS) / (name + ".png"));
  if (!png || png->samples8() == nullptr || png->channels < 3) return drawnScene();
  Picture picture(png->width, png->height);
  for (std::size_t i = 0; i < png->width * png->height; ++i) {
    for (std::size_t c = 0; c < 3; ++c) picture.bytes[i * 4 + c] = (*png->samples8())[i * png->channels + c];
    picture.bytes[i * 4 + 3] = picture.bytes[i * 4 + 1];
  }
  return picture;
}

double lanczos3(double x) {
  x = std::abs(x);
  if (x < 1e-9) return 1;
  if (x >= 3) return 0;
  const double a = std::numbers::pi * x;
  return std::sin(a) / a * std::sin(a / 3) / (a / 3);
}

struct Tap {
  std::size_t index;
  double weight;
};

/// For every target position the pixels and weights of a Lanczos filter with 3 lobes, widened by the
/// reduction, on a line that is mirrored at its ends.
std::vector<std::vector<Tap>> taps(std::size_t from, std::size_t to, double begin, double size) {
  const double step = size / static_cast<double>(to);
  const double widening = std::max(step, 1.0);
  std::vector<std::vector<Tap>> result(to);
  for (std::size_t i = 0; i < to; ++i) {
    const double centre = begin + (static_cast<double>(i) + 0.5) * step;
    double sum = 0;
    for (auto p = static_cast<long>(std::floor(centre - 3 * widening)) - 1;
         static_cast<double>(p) < centre + 3 * widening; ++p) {
      const double weight = lanczos3((static_cast<double>(p) + 0.5 - centre) / widening);
      const long n = static_cast<long>(from);
      const long mirrored = p < 0 ? -p - 1 : p >= n ? 2 * n - 1 - p : p;
      if (weight == 0) continue;
      result[i].push_back({static_cast<std::size_t>(std::clamp(mirrored, 0L, n - 1)), weight});
      sum += weight;
    }
    for (Tap& tap : result[i]) tap.weight /= sum;
  }
  return result;
}

/// Peak signal-to-noise ratio, in decibels, against the same filter computed in double precision throughout.
double psnr(const Picture& source, const SourceRegion& region, const Picture& result) {
  const auto across = taps(source.width, result.width, region.left, region.width);
  const auto down = taps(source.height, result.height, region.top, region.height);
  const std::size_t values = result.width * source.channels;
  std::vector<double> middle(source.height * values);
  for (std::size_t y = 0; y < source.height; ++y) {
    for (std::size_t x = 0; x < result.width; ++x) {
      for (const Tap& tap : across[x])
        for (std::size_t c = 0; c < source.channels; ++c)
          middle[y * values + x * source.channels + c] += tap.weight * source.at(tap.index, y, c);
    }
  }
  double squares = 0;
  for (std::size_t y = 0; y < result.height; ++y) {
    for (std::size_t i = 0; i < values; ++i) {
      double exact = 0;
      for (const Tap& tap : down[y]) exact += tap.weight * middle[tap.index * values + i];
      const double error = std::clamp(exact, 0.0, 255.0) - result.at(0, y, i);
      squares += error * error;
    }
  }
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(result.height * values) / squares);
}

TEST(ScalerTest, StaysWithin55DecibelsOfDoublePrecision) {
  for (const char* name : {"coffee", "chelsea"}) {
    const Picture source = photograph(name);
    const double w = static_cast<double>(source.width);
    const double h = static_cast<double>(source.height);
    struct Case {
      std::size_t width, height;
      SourceRegion region;
    };
    for (const Case& c :
         {Case{300, 300, source.all()}, Case{151, 97, source.all()}, Case{37, 20, source.all()},
          Case{source.width + 101, source.height + 7, source.all()},
          Case{200, 160, {w / 4 + 0.3, h / 4 - 0.2, w / 2, h / 2}}}) {
      Picture result(c.width, c.height);
      ASSERT_EQ(scale(source.source(), c.region, 4, result.target()), ScalerResult::done);
      EXPECT_GE(psnr(source, c.region, result), 55) << name << " to " << c.width << " x " << c.height;
    }
  }
}

TEST(ScalerTest, RowsMayBeAnyDistanceApart) {
  for (const std::size_t channels : {1U, 4U}) {
    const Picture packed = noise(61, 43, channels);
    Picture expected(29, 31, channels);
    ASSERT_EQ(scale(packed.source(), packed.all(), channels, expected.target()), ScalerResult::done);
    for (const std::size_t padding : {1U, 3U, 64U, 1000U}) {
      const Picture padded = noise(61, 43, channels, padding);
      Picture result(29, 31, channels, padding);
      ASSERT_EQ(scale(padded.source(), padded.all(), channels, result.target()), ScalerResult::done);
      for (std::size_t y = 0; y < result.height; ++y) {
        const auto row = result.bytes.begin() + static_cast<std::ptrdiff_t>(y * result.rowBytes);
        const auto end = row + static_cast<std::ptrdiff_t>(29 * channels);
        ASSERT_TRUE(
            std::equal(row, end, expected.bytes.begin() + static_cast<std::ptrdiff_t>(y * 29 * channels)));
        const auto next = row + static_cast<std::ptrdiff_t>(result.rowBytes);
        ASSERT_EQ(std::count(end, next, 0xA5), static_cast<std::ptrdiff_t>(padding)) << "padding was written";
      }
    }
  }
}

TEST(ScalerTest, EverySmallSizeKeepsAPlainColour) {
  for (const std::size_t from : {1U, 2U, 3U, 7U, 64U}) {
    for (const std::size_t to : {1U, 2U, 3U, 5U, 17U, 200U}) {
      Picture source(from, 65 - from);
      for (std::size_t i = 0; i < source.bytes.size(); ++i)
        source.bytes[i] = static_cast<std::uint8_t>(60 * (i % 4) + 9);
      Picture result(to, 201 - to);
      ASSERT_EQ(scale(source.source(), source.all(), 4, result.target()), ScalerResult::done)
          << from << " to " << to;
      for (std::size_t i = 0; i < result.bytes.size(); ++i)
        ASSERT_EQ(result.bytes[i], 60 * (i % 4) + 9) << from << " to " << to << " at " << i;
    }
  }
}

TEST(ScalerTest, SameSizeIsACopyAndChannelsDoNotMix) {
  const Picture source = noise(33, 21, 4);
  Picture copy(33, 21);
  ASSERT_EQ(scale(source.source(), source.all(), 4, copy.target()), ScalerResult::done);
  EXPECT_EQ(copy.bytes, source.bytes);

  Picture result(20, 40);
  ASSERT_EQ(scale(source.source(), source.all(), 4, result.target()), ScalerResult::done);
  for (std::size_t c = 0; c < 4; ++c) {
    Picture plane(33, 21, 1);
    for (std::size_t i = 0; i < plane.bytes.size(); ++i) plane.bytes[i] = source.bytes[4 * i + c];
    Picture alone(20, 40, 1);
    ASSERT_EQ(scale(plane.source(), plane.all(), 1, alone.target()), ScalerResult::done);
    for (std::size_t i = 0; i < alone.bytes.size(); ++i)
      ASSERT_EQ(alone.bytes[i], result.bytes[4 * i + c]) << c;
  }
}

TEST(ScalerTest, ThreadsScaleAtOnce) {
  const Picture source = noise(320, 240, 4);
  Picture expected(100, 75);
  ASSERT_EQ(scale(source.source(), source.all(), 4, expected.target()), ScalerResult::done);
  std::vector<std::thread> threads;
  std::vector<Picture> results(4, Picture(100, 75));
  for (Picture& result : results) {
    threads.emplace_back([&source, &result] {
      for (std::size_t i = 0; i < 12; ++i) {
        Picture other(20 + i, 20);  // pushes prepared sizes out of the cache
        EXPECT_EQ(scale(source.source(), source.all(), 4, other.target()), ScalerResult::done);
        EXPECT_EQ(scale(source.source(), source.all(), 4, result.target()), ScalerResult::done);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Picture& result : results) EXPECT_EQ(result.bytes, expected.bytes);
}

TEST(VImageTest, RefusesViewsThatHoldNoPicture) {
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
