#include "geoloom/storage/Data.h"

#include <algorithm>
#include <limits>
#include <memory>

#include <zlib.h>

namespace geoloom {

namespace {

constexpr int LEVEL = 5;                 // the level of the format on a phone
constexpr int RAW_DEFLATE_WINDOW = -15;  // 32 KiB; negative: no header, no checksum
constexpr int DEFAULT_MEMORY = 8;

/// Compresses or decompresses: `step` and `end` are zlib's functions for a stream whose initialisation
/// returned `begun`.
std::optional<Data> transcoded(const std::vector<std::uint8_t>& source, z_stream& stream, int begun,
                               int (*step)(z_stream*, int), int (*end)(z_stream*)) {
  if (begun != Z_OK) return std::nullopt;
  const std::unique_ptr<z_stream, int (*)(z_stream*)> owner(&stream, end);
  const std::size_t room = std::clamp(source.size(), std::size_t{64}, std::size_t{65536});
  const auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(room);
  std::size_t left = source.size();
  stream.next_in = const_cast<Bytef*>(source.data());  // zlib only reads it
  std::vector<std::uint8_t> output;
  for (;;) {
    if (stream.avail_in == 0) {  // zlib counts in 32 bits
      stream.avail_in = static_cast<uInt>(std::min<std::size_t>(left, std::numeric_limits<uInt>::max()));
      left -= stream.avail_in;
    }
    stream.next_out = buffer.get();
    stream.avail_out = static_cast<uInt>(room);
    const int status = step(&stream, left == 0 ? Z_FINISH : Z_NO_FLUSH);
    output.insert(output.end(), buffer.get(), stream.next_out);
    if (status == Z_STREAM_END) return Data(std::move(output));
    const bool goesOn = stream.avail_out == 0 || left > 0;
    if (!goesOn || (status != Z_OK && status != Z_BUF_ERROR)) return std::nullopt;
  }
}

}  // namespace

Data::Data(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

Data::Data(std::span<const std::uint8_t> bytes) : bytes_(bytes.begin(), bytes.end()) {}

Data::Data(std::span<const std::byte> bytes)
    : Data(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size())) {}

Data::Data(std::string_view text) : Data(std::as_bytes(std::span(text))) {}

std::string_view Data::text() const& {
  return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()};
}

std::optional<Data> Data::compress() const {
  z_stream stream = {};
  const int begun =
      deflateInit2(&stream, LEVEL, Z_DEFLATED, RAW_DEFLATE_WINDOW, DEFAULT_MEMORY, Z_DEFAULT_STRATEGY);
  return transcoded(bytes_, stream, begun, deflate, deflateEnd);
}

std::optional<Data> Data::decompress() const {
  if (bytes_.empty()) return std::nullopt;
  z_stream stream = {};
  const int begun = inflateInit2(&stream, RAW_DEFLATE_WINDOW);
  return transcoded(bytes_, stream, begun, inflate, inflateEnd);
}

}  // namespace geoloom
