#include "geoloom/storage/Data.h"

#include <memory>
#include <utility>

#include "geoloom/base/WhereMemorySuffices.h"
#include "geoloom/storage/Transcode.h"

namespace geoloom {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Throws when memory does not suffice.
std::optional<Bytes> transcodeOrThrow(platform::compression_stream_operation operation,
                                      std::span<const std::uint8_t> source, std::size_t largestPiece) {
  using namespace platform;
  if (operation == COMPRESSION_STREAM_DECODE && source.empty()) return std::nullopt;
  compression_stream stream;
  if (compression_stream_init(&stream, operation, COMPRESSION_ZLIB, largestPiece) ==
      COMPRESSION_STATUS_ERROR) {
    return std::nullopt;
  }
  const std::size_t room = workingBufferSize(source.size());
  const auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(room);
  stream.src_ptr = source.data();
  stream.src_size = source.size();
  Bytes output;
  for (;;) {
    stream.dst_ptr = buffer.get();
    stream.dst_size = room;
    const compression_status status = compression_stream_process(&stream, COMPRESSION_STREAM_FINALIZE);
    const bool stopped = status == COMPRESSION_STATUS_OK && stream.dst_size > 0;
    if (status == COMPRESSION_STATUS_ERROR || stopped) return std::nullopt;
    output.insert(output.end(), buffer.get(), stream.dst_ptr);
    if (status == COMPRESSION_STATUS_END) return output;
  }
}

std::optional<Data> transcoded(platform::compression_stream_operation operation, const Bytes& source) {
  auto bytes = transcode(operation, source);
  if (!bytes) return std::nullopt;
  return Data(std::move(*bytes));
}

}  // namespace

std::optional<Bytes> transcode(platform::compression_stream_operation operation,
                               std::span<const std::uint8_t> source, std::size_t largestPiece) {
  return base::whereMemorySuffices([&] { return transcodeOrThrow(operation, source, largestPiece); });
}

Data::Data(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

Data::Data(std::span<const std::uint8_t> bytes) : bytes_(bytes.begin(), bytes.end()) {}

std::optional<Data> Data::compress() const {
  return transcoded(platform::COMPRESSION_STREAM_ENCODE, bytes_);
}

std::optional<Data> Data::decompress() const {
  return transcoded(platform::COMPRESSION_STREAM_DECODE, bytes_);
}

}  // namespace geoloom
