#include <random>

#include <gtest/gtest.h>

#include "geoloom/storage/Data.h"

namespace geoloom {
namespace {

using Bytes = std::vector<std::uint8_t>;

enum class Content { zeros, noise, prose };

Bytes make(Content content, std::size_t count) {
  Bytes bytes(count);
  std::mt19937 random(static_cast<unsigned>(count) + 17);
  if (content == Content::noise) {
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  } else if (content == Content::prose) {
    constexpr std::string_view LETTERS = "eeee tttaaooiinn shrdlu,\n";
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(LETTERS[random() % LETTERS.size()]);
  }
  return bytes;
}

/// Sizes around those of the working buffer.
std::vector<Bytes> samples() {
  std::vector<Bytes> all;
  for (const std::size_t size : {0U, 1U, 10U, 63U, 64U, 65U, 65535U, 65536U, 65537U, 1U << 20, 1200000U})
    for (const Content content : {Content::zeros, Content::noise, Content::prose})
      all.push_back(make(content, size));
  return all;
}

TEST(DataTest, RoundTripsThroughRawDeflate) {
  EXPECT_EQ(Data().compress()->bytes(), (Bytes{0x03, 0x00}));
  for (const Bytes& bytes : samples()) {
    SCOPED_TRACE(bytes.size());
    const auto encoded = Data(bytes).compress();
    ASSERT_TRUE(encoded);
    EXPECT_TRUE(encoded->decompress() == Data(bytes));
    const unsigned first = encoded->bytes()[0];
    const unsigned second = encoded->bytes()[1];
    EXPECT_FALSE(first == 0x78 && (first * 256 + second) % 31 == 0) << "zlib header";
    EXPECT_FALSE(first == 0x1F && second == 0x8B) << "gzip header";
  }
}

TEST(DataTest, HoldsTextsAndBytes) {
  const std::byte bytes[] = {std::byte{'a'}, std::byte{0}, std::byte{0xFF}};
  EXPECT_EQ(Data(std::span<const std::byte>(bytes)), Data(Bytes{'a', 0, 0xFF}));
  EXPECT_EQ(Data("caf\u00e9").compress()->decompress()->text(), "caf\u00e9");
}

TEST(DataTest, TruncatedStreamsDecodeToNothing) {
  for (const Content content : {Content::zeros, Content::noise, Content::prose}) {
    const Bytes encoded = Data(make(content, 3000)).compress()->bytes();
    for (std::size_t length = 0; length < encoded.size(); ++length)
      EXPECT_FALSE(Data(std::span(encoded).first(length)).decompress()) << length;
  }
  // A stored block of 65536 - 1 bytes and one of 1 byte, both without the flag of the last block, whose
  // output fills the working buffer exactly.
  Bytes unfinished = {0x00, 0xFF, 0xFF, 0x00, 0x00};
  unfinished.resize(5 + 65535, 'x');
  unfinished.insert(unfinished.end(), {0x00, 0x01, 0x00, 0xFE, 0xFF, 'x'});
  EXPECT_FALSE(Data(unfinished).decompress());
  unfinished.insert(unfinished.end(), {0x03, 0x00});  // the end of the stream
  EXPECT_EQ(Data(unfinished).decompress()->bytes(), Bytes(65536, 'x'));
}

TEST(DataTest, IgnoresBytesAfterTheEnd) {
  const Bytes source = make(Content::prose, 1000);
  Bytes encoded = Data(source).compress()->bytes();
  encoded.insert(encoded.end(), {0xFF, 0x00, 0x78});
  EXPECT_EQ(Data(encoded).decompress()->bytes(), source);
}

TEST(DataTest, OtherFormatsDecodeToNothing) {
  EXPECT_FALSE(Data().decompress());
  for (std::size_t size = 1; size < 200; ++size) {
    Bytes noise = make(Content::noise, size);
    noise[0] |= 6;  // a block of the reserved type
    EXPECT_FALSE(Data(noise).decompress()) << size;
  }
  EXPECT_FALSE(Data(Bytes{0x78, 0x9C, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01}).decompress()) << "zlib";
  EXPECT_FALSE(Data(Bytes{0x1F, 0x8B, 0x08, 0, 0, 0, 0, 0, 0, 3, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0}).decompress())
      << "gzip";
}

}  // namespace
}  // namespace geoloom
