#include <fstream>
#include <random>

#include <gtest/gtest.h>
#include <zlib.h>

#include "geoloom/platform/imaging/PNG.h"

#include "tests/support/TemporaryDirectory.h"

namespace geoloom::platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

void appendWord(Bytes& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

void appendChunk(Bytes& file, const std::string& type, const Bytes& data) {
  appendWord(file, static_cast<std::uint32_t>(data.size()));
  Bytes body(type.begin(), type.end());
  body.insert(body.end(), data.begin(), data.end());
  file.insert(file.end(), body.begin(), body.end());
  appendWord(file, static_cast<std::uint32_t>(crc32(0, body.data(), static_cast<uInt>(body.size()))));
}

/// A file in a form that encodePNG never writes. Each row begins with its filter byte.
Bytes handmade(std::uint32_t width, std::uint32_t height, std::uint8_t depth, std::uint8_t colour,
               const Bytes& rows, const Bytes& palette = {}, const Bytes& transparency = {}) {
  Bytes file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
  Bytes header;
  appendWord(header, width);
  appendWord(header, height);
  header.insert(header.end(), {depth, colour, 0, 0, 0});
  appendChunk(file, "IHDR", header);
  if (!palette.empty()) appendChunk(file, "PLTE", palette);
  if (!transparency.empty()) appendChunk(file, "tRNS", transparency);
  uLongf size = compressBound(static_cast<uLong>(rows.size()));
  Bytes packed(size);
  compress(packed.data(), &size, rows.data(), static_cast<uLong>(rows.size()));
  packed.resize(size);
  appendChunk(file, "IDAT", packed);
  appendChunk(file, "IEND", {});
  return file;
}

template <class Sample>
PNGImage randomImage(std::size_t width, std::size_t height, std::size_t channels, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<Sample> samples(width * height * channels);
  for (auto& sample : samples) sample = static_cast<Sample>(random());
  return {width, height, channels, std::move(samples)};
}

TEST(PNGTest, EncodedImagesDecodeUnchanged) {
  for (const std::size_t channels : {1U, 3U, 4U}) {
    for (const PNGImage& image :
         {randomImage<std::uint16_t>(7, 3, channels, 1), randomImage<std::uint8_t>(64, 33, channels, 2)}) {
      const auto bytes = encodePNG(image, 1);
      ASSERT_TRUE(bytes) << bytes.failure().message;
      const auto back = decodePNG(*bytes, "image");
      ASSERT_TRUE(back) << back.failure().message;
      EXPECT_EQ(back->width, image.width);
      EXPECT_EQ(back->channels, channels);
      EXPECT_EQ(back->samples, image.samples);
    }
  }
}

TEST(PNGTest, ReadsFormsOfOtherWriters) {
  const std::tuple<const char*, Bytes, std::size_t, decltype(PNGImage::samples)> cases[] = {
      {"palette", handmade(2, 1, 8, 3, {0, 1, 0}, {1, 2, 3, 4, 5, 6}), 3, Bytes{4, 5, 6, 1, 2, 3}},
      {"palette with transparency", handmade(2, 1, 8, 3, {0, 1, 0}, {1, 2, 3, 4, 5, 6}, {9}), 4,
       Bytes{4, 5, 6, 255, 1, 2, 3, 9}},
      {"missing palette entry", handmade(2, 1, 8, 3, {0, 5, 0}, {1, 2, 3}), 3, Bytes{0, 0, 0, 1, 2, 3}},
      {"one bit per pixel", handmade(3, 1, 1, 0, {0, 0xa0}), 1, Bytes{255, 0, 255}},
      {"gray with alpha", handmade(1, 2, 8, 4, {0, 7, 8, 0, 9, 10}), 4, Bytes{7, 7, 7, 8, 9, 9, 9, 10}},
      {"16-bit gray, high byte first", handmade(2, 1, 16, 0, {0, 0x12, 0x34, 0xff, 0xfe}), 1,
       std::vector<std::uint16_t>{0x1234, 0xfffe}},
      {"a transparent colour", handmade(2, 1, 8, 2, {0, 1, 2, 3, 4, 5, 6}, {}, {0, 4, 0, 5, 0, 6}), 4,
       Bytes{1, 2, 3, 255, 4, 5, 6, 0}},
  };
  for (const auto& [what, file, channels, samples] : cases) {
    const auto image = decodePNG(file, what);
    ASSERT_TRUE(image) << image.failure().message;
    EXPECT_EQ(image->channels, channels) << what;
    EXPECT_EQ(image->samples, samples) << what;
  }
}

TEST(PNGTest, ReportsDamagedFilesInOneLine) {
  const auto whole = encodePNG(randomImage<std::uint8_t>(40, 30, 3, 5));
  ASSERT_TRUE(whole);
  std::vector<Bytes> files = {{},
                              handmade(0, 1, 8, 0, {0}),
                              handmade(40000, 1, 8, 0, {0}),           // a side over the limit
                              handmade(30000, 30000, 8, 0, {0, 0}),    // too many pixels
                              handmade(16384, 16384, 8, 2, {0, 0}),    // a few bytes with a header for 800 MB
                              handmade(2, 2, 8, 0, {0, 1, 2, 0, 3})};  // one sample short
  for (std::size_t length = 20; length + 12 < whole->size(); length += whole->size() / 5)
    files.emplace_back(whole->begin(), whole->begin() + static_cast<std::ptrdiff_t>(length));
  for (const Bytes& file : files) {
    const auto image = decodePNG(file, "image.png");
    ASSERT_FALSE(image) << "file of " << file.size() << " bytes";
    EXPECT_EQ(image.failure().message.rfind("image.png: ", 0), 0U) << image.failure().message;
    EXPECT_EQ(image.failure().message.find('\n'), std::string::npos);
  }
}

TEST(PNGTest, ReadsAndWritesFilesAndNamesTheFailedOnes) {
  const test::TemporaryDirectory directory;
  const auto path = directory.path() / "picture.png";
  const PNGImage image = randomImage<std::uint8_t>(5, 4, 4, 7);
  ASSERT_FALSE(writePNG(path, image));
  const auto back = readPNG(path);
  std::filesystem::remove(path);
  ASSERT_TRUE(back) << back.failure().message;
  EXPECT_EQ(back->samples, image.samples);

  EXPECT_EQ(readPNG(path).failure().message, path.string() + ": there is no such file");
  EXPECT_FALSE(readPNG(std::filesystem::temp_directory_path()));
  const auto failure = writePNG("/nowhere/at/all.png", image);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->message, "/nowhere/at/all.png: cannot be written: No such file or directory");
  EXPECT_TRUE(writePNG(path, PNGImage{5, 5, 3, Bytes(3)}));
}

TEST(PNGTest, ConvertsToPixelBuffersAndBack) {
  const auto colour = makePixelBuffer({2, 1, 4, Bytes{1, 2, 3, 4, 5, 6, 7, 8}});
  ASSERT_TRUE(colour);
  EXPECT_EQ(Bytes(colour->baseAddress(), colour->baseAddress() + 8), (Bytes{3, 2, 1, 4, 7, 6, 5, 8}));
  const auto gray = makePixelBuffer({1, 1, 1, std::vector<std::uint16_t>{0x80ff}});
  ASSERT_TRUE(gray);
  EXPECT_EQ(Bytes(gray->baseAddress(), gray->baseAddress() + 4), (Bytes{0x80, 0x80, 0x80, 255}));

  const PNGImage image = randomImage<std::uint8_t>(37, 5, 3, 8);
  EXPECT_EQ(makePNGImage(*makePixelBuffer(image)).samples, image.samples);

  Bytes argb = {255, 10, 20, 30, 255, 40, 50, 60, 0, 0};
  const auto reversed = CVPixelBuffer::createWithBytes(2, 1, CVPixelFormatType::ARGB32, argb.data(), 10, {});
  EXPECT_EQ(*makePNGImage(*reversed).samples8(), (Bytes{10, 20, 30, 40, 50, 60}));

  const auto planar = CVPixelBuffer::create(3, 3, CVPixelFormatType::biPlanarFullRange420);
  for (std::size_t y = 0; y < 3; ++y) std::fill_n(planar->baseAddress() + y * planar->bytesPerRow(), 3, 81);
  for (std::size_t y = 0; y < 2; ++y) {
    for (std::size_t x = 0; x < 2; ++x) {
      std::uint8_t* pair = planar->baseAddress(1) + y * planar->bytesPerRow(1) + 2 * x;
      pair[0] = 90;
      pair[1] = 240;
    }
  }
  // Full-range BT.601: R = Y + 1.402 (Cr-128), G = Y - 0.344 (Cb-128) - 0.714 (Cr-128), B = Y + 1.772
  // (Cb-128).
  const PNGImage red = makePNGImage(*planar);
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_NEAR((*red.samples8())[3 * i], 238, 2);
    EXPECT_NEAR((*red.samples8())[3 * i + 1], 14, 2);
    EXPECT_NEAR((*red.samples8())[3 * i + 2], 14, 2);
  }
}

}  // namespace
}  // namespace geoloom::platform
