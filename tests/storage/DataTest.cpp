#include <iterator>
#include <random>

#include <gtest/gtest.h>
#include <zlib.h>

#include "geoloom/storage/Data.h"
#include "geoloom/storage/Transcode.h"

#include "tests/support/TemporaryDirectory.h"

namespace geoloom {
namespace {

using Bytes = std::vector<std::uint8_t>;
using platform::COMPRESSION_STREAM_DECODE;
using platform::COMPRESSION_STREAM_ENCODE;

enum class Content { zeros, noise, prose };

Bytes make(Content content, std::size_t count) {
  Bytes bytes(count);
  std::mt19937 random(static_cast<unsigned>(count) + 17);
  if (content == Content::noise) {
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  } else if (content == Content::prose) {
    constexpr std::string_view letters = "eeee tttaaooiinn shrdlu,\n";
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(letters[random() % letters.size()]);
  }
  return bytes;
}

std::vector<Bytes> samples() {
  std::vector<Bytes> all;
  std::vector<std::size_t> sizes = {0, 1, 10, 63, 64, 65, 65535, 65536, 65537, 1U << 20};
  std::mt19937 random(5);
  for (int i = 0; i < 20; ++i) sizes.push_back(random() % 300000);
  for (const std::size_t size : sizes)
    for (const Content content : {Content::zeros, Content::noise, Content::prose})
      all.push_back(make(content, size));
  return all;
}

TEST(CompressionTest, GivesEveryBufferBackFromBareBlocks) {
  EXPECT_EQ(Data().compress()->bytes(), (Bytes{0x03, 0x00}));
  for (const Bytes& bytes : samples()) {
    SCOPED_TRACE(bytes.size());
    const Data data(bytes);
    const auto encoded = data.compress();
    ASSERT_TRUE(encoded);
    const auto decoded = encoded->decompress();
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(*decoded == data);
    ASSERT_GE(encoded->count(), 2U);
    const unsigned first = encoded->bytes()[0];
    const unsigned second = encoded->bytes()[1];
    EXPECT_FALSE(first == 0x78 && (first * 256 + second) % 31 == 0) << "a header of zlib";
    EXPECT_FALSE(first == 0x1F && second == 0x8B) << "a header of gzip";
  }
}

TEST(CompressionTest, ResultDoesNotDependOnThePiecesZlibIsFed) {
  const Bytes source = make(Content::prose, 200000);
  const auto whole = transcode(COMPRESSION_STREAM_ENCODE, source);
  ASSERT_TRUE(whole);
  for (const std::size_t piece : {1U, 7U, 4096U, 65535U, 199999U}) {
    EXPECT_EQ(transcode(COMPRESSION_STREAM_ENCODE, source, piece), whole) << piece;
    EXPECT_EQ(transcode(COMPRESSION_STREAM_DECODE, *whole, piece), source) << piece;
  }
}

TEST(CompressionTest, WorksInABufferBetween64And65536Bytes) {
  EXPECT_EQ(workingBufferSize(0), 64U);
  EXPECT_EQ(workingBufferSize(10), 64U);
  EXPECT_EQ(workingBufferSize(65), 65U);
  EXPECT_EQ(workingBufferSize(1 << 20), 65536U);
}

TEST(CompressionTest, StreamCutAnywhereIsAbsent) {
  for (const Content content : {Content::zeros, Content::noise, Content::prose}) {
    const Bytes encoded = Data(make(content, 3000)).compress()->bytes();
    for (std::size_t length = 0; length < encoded.size(); ++length)
      EXPECT_FALSE(Data(std::span(encoded).first(length)).decompress()) << length;
  }
}

/// All of `source` in blocks that are flushed out, without an end of the stream.
Bytes unfinishedStream(Bytes source) {
  z_stream zlib = {};
  EXPECT_EQ(deflateInit2(&zlib, 5, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
  Bytes encoded(source.size() + 1000);
  zlib.next_in = source.data();
  zlib.avail_in = static_cast<uInt>(source.size());
  zlib.next_out = encoded.data();
  zlib.avail_out = static_cast<uInt>(encoded.size());
  EXPECT_EQ(deflate(&zlib, Z_SYNC_FLUSH), Z_OK);
  encoded.resize(encoded.size() - zlib.avail_out);
  deflateEnd(&zlib);
  return encoded;
}

TEST(CompressionTest, StreamCutWhereItFillsTheBufferIsAbsent) {
  // Noise does not shrink: the working buffer has its full size, and the output fills it exactly twice.
  const Bytes encoded = unfinishedStream(make(Content::noise, 2 * 65536));
  ASSERT_GE(encoded.size(), 65536U);
  EXPECT_FALSE(Data(encoded).decompress());
  // The same stream with its end attached is whole.
  Bytes ended = encoded;
  ended.insert(ended.end(), {0x03, 0x00});
  EXPECT_EQ(Data(ended).decompress()->bytes(), make(Content::noise, 2 * 65536));
}

TEST(CompressionTest, BytesAfterTheEndAreIgnored) {
  const Bytes source = make(Content::prose, 1000);
  Bytes encoded = Data(source).compress()->bytes();
  encoded.insert(encoded.end(), {0xFF, 0x00, 0x78});
  EXPECT_EQ(Data(encoded).decompress()->bytes(), source);
}

bool isRawDeflate(Bytes bytes) {
  z_stream zlib = {};
  EXPECT_EQ(inflateInit2(&zlib, -15), Z_OK);
  Bytes decoded(1 << 20);
  zlib.next_in = bytes.data();
  zlib.avail_in = static_cast<uInt>(bytes.size());
  zlib.next_out = decoded.data();
  zlib.avail_out = static_cast<uInt>(decoded.size());
  const bool ended = inflate(&zlib, Z_FINISH) == Z_STREAM_END;
  inflateEnd(&zlib);
  return ended;
}

TEST(CompressionTest, WhatIsNoStreamIsAbsent) {
  EXPECT_FALSE(Data().decompress());
  int absent = 0;
  for (int i = 0; i < 200; ++i) {
    std::mt19937 random(static_cast<unsigned>(i));
    Bytes noise(1000);
    for (auto& byte : noise) byte = static_cast<std::uint8_t>(random());
    const auto decoded = Data(noise).decompress();
    absent += decoded ? 0 : 1;
    // Now and then noise begins with a short valid stream; then it is one in zlib's eyes too.
    EXPECT_EQ(decoded.has_value(), isRawDeflate(noise)) << i;
    noise[0] |= 6;  // a block of the reserved type
    EXPECT_FALSE(Data(noise).decompress()) << i;
  }
  EXPECT_GE(absent, 180);
  // Streams with the headers of zlib and gzip are of another format.
  EXPECT_FALSE(Data(Bytes{0x78, 0x9C, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01}).decompress());
  EXPECT_FALSE(Data(Bytes{0x1F, 0x8B, 0x08, 0, 0, 0, 0, 0, 0, 3, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0}).decompress());
}

TEST(CompressionTest, StreamRefusesWhatItDoesNotKnow) {
  using namespace platform;
  compression_stream stream;
  EXPECT_EQ(compression_stream_process(&stream, 0), COMPRESSION_STATUS_ERROR);
  EXPECT_EQ(compression_stream_destroy(&stream), COMPRESSION_STATUS_ERROR);
  const auto lz4 = static_cast<compression_algorithm>(0x100);
  EXPECT_EQ(compression_stream_init(&stream, COMPRESSION_STREAM_ENCODE, lz4), COMPRESSION_STATUS_ERROR);
  const auto neither = static_cast<compression_stream_operation>(2);
  EXPECT_EQ(compression_stream_init(&stream, neither, COMPRESSION_ZLIB), COMPRESSION_STATUS_ERROR);
  ASSERT_EQ(compression_stream_init(&stream, COMPRESSION_STREAM_DECODE, COMPRESSION_ZLIB),
            COMPRESSION_STATUS_OK);
  EXPECT_EQ(compression_stream_destroy(&stream), COMPRESSION_STATUS_OK);
}

TEST(CompressionTest, StreamTakesItsInputInParts) {
  using namespace platform;
  const Bytes source = make(Content::prose, 5000);
  compression_stream stream;
  ASSERT_EQ(compression_stream_init(&stream, COMPRESSION_STREAM_ENCODE, COMPRESSION_ZLIB),
            COMPRESSION_STATUS_OK);
  Bytes encoded(6000);
  stream.dst_ptr = encoded.data();
  stream.dst_size = encoded.size();
  stream.src_ptr = source.data();
  stream.src_size = 3000;
  EXPECT_EQ(compression_stream_process(&stream, 0), COMPRESSION_STATUS_OK);
  EXPECT_EQ(stream.src_size, 0U);
  stream.src_size = 2000;
  EXPECT_EQ(compression_stream_process(&stream, COMPRESSION_STREAM_FINALIZE), COMPRESSION_STATUS_END);
  encoded.resize(encoded.size() - stream.dst_size);
  EXPECT_EQ(Data(encoded).decompress()->bytes(), source);
}

/// Decodes every "N.ours" to "N.decoded" and encodes every "N.raw" to "N.theirs" at changing levels.
constexpr const char* foreignTool = R"(
import glob, sys, zlib
for name in glob.glob(sys.argv[1] + '/*.ours'):
    decoder = zlib.decompressobj(-15)
    decoded = decoder.decompress(open(name, 'rb').read())
    assert decoder.eof and not decoder.unused_data, name
    open(name[:-4] + 'decoded', 'wb').write(decoded)
for level, name in enumerate(glob.glob(sys.argv[1] + '/*.raw')):
    encoder = zlib.compressobj(level % 10, zlib.DEFLATED, -15)
    open(name[:-3] + 'theirs', 'wb').write(encoder.compress(open(name, 'rb').read()) + encoder.flush())
)";

class CompressionCrossCheck : public testing::Test {
 protected:
  void write(const std::string& name, const Bytes& bytes) const {
    folder_.write(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  [[nodiscard]] Bytes read(const std::string& name) const {
    std::ifstream file(folder_.path() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  const test::TemporaryDirectory folder_;
};

int run(const std::string& command) {
  return std::system(command.c_str());
}

TEST_F(CompressionCrossCheck, AgreesWithPythonBothWays) {
  if (run("python3 -c 'import zlib' 2>/dev/null") != 0) GTEST_SKIP() << "python3 with zlib is not installed";
  const std::vector<Bytes> all = samples();
  for (std::size_t i = 0; i < all.size(); ++i) {
    write(std::to_string(i) + ".raw", all[i]);
    write(std::to_string(i) + ".ours", Data(all[i]).compress()->bytes());
  }
  const std::string tool = folder_.write("tool.py", foreignTool);
  ASSERT_EQ(run("python3 '" + tool + "' '" + folder_.path().string() + "'"), 0);
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(read(std::to_string(i) + ".decoded"), all[i]) << i;
    const auto decoded = Data(read(std::to_string(i) + ".theirs")).decompress();
    ASSERT_TRUE(decoded) << i;
    EXPECT_EQ(decoded->bytes(), all[i]) << i;
  }
}

}  // namespace
}  // namespace geoloom
