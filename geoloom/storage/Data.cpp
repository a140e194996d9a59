#include "geoloom/storage/Data.h"

#include <algorithm>
#include <memory>

#include "geoloom/platform/compression/CompressionStream.h"

namespace geoloom {

namespace {

std::optional<Data> transcoded(platform::compression_stream_operation operation,
                               const std::vector<std::uint8_t>& source) {
  using namespace platform;
  if (operation == COMPRESSION_STREAM_DECODE && source.empty()) return std::nullopt;
  compression_stream stream;
  if (compression_stream_init(&stream, operation, COMPRESSION_ZLIB) == COMPRESSION_STATUS_ERROR) {
    return std::nullopt;
  }
  const std::size_t room = std::clamp(source.size(), std::size_t{64}, std::size_t{65536});
  const auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(room);
  stream.src_ptr = source.data();
  stream.src_size = source.size();
  std::vector<std::uint8_t> output;
  for (;;) {
    stream.dst_ptr = buffer.get();
    stream.dst_size = room;
    const compression_status status = compression_stream_process(&stream, COMPRESSION_STREAM_FINALIZE);
    const bool stopped = status == COMPRESSION_STATUS_OK && stream.dst_size > 0;
    if (status == COMPRESSION_STATUS_ERROR || stopped) return std::nullopt;
    output.insert(output.end(), buffer.get(), stream.dst_ptr);
    if (status == COMPRESSION_STATUS_END) return Data(std::move(output));
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
  return transcoded(platform::COMPRESSION_STREAM_ENCODE, bytes_);
}

std::optional<Data> Data::decompress() const {
  return transcoded(platform::COMPRESSION_STREAM_DECODE, bytes_);
}

}  // namespace geoloom
