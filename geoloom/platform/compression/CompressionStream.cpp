#include "geoloom/platform/compression/CompressionStream.h"

#include <algorithm>

#include <zlib.h>

namespace geoloom::platform {

namespace {

constexpr int LEVEL = 5;
constexpr int RAW_DEFLATE_WINDOW = -15;  // 32 KiB; negative: no header, no checksum
constexpr int DEFAULT_MEMORY = 8;
/// Bytes given to zlib at a time, since it counts in 32 bits.
constexpr std::size_t LARGEST_PIECE = std::size_t{1} << 20;

}  // namespace

struct CompressionStreamState {
  explicit CompressionStreamState(compression_stream_operation work) : operation(work) {
    initialised =
        (operation == COMPRESSION_STREAM_ENCODE
             ? deflateInit2(&zlib, LEVEL, Z_DEFLATED, RAW_DEFLATE_WINDOW, DEFAULT_MEMORY, Z_DEFAULT_STRATEGY)
             : inflateInit2(&zlib, RAW_DEFLATE_WINDOW)) == Z_OK;
  }
  ~CompressionStreamState() {
    if (!initialised) return;
    if (operation == COMPRESSION_STREAM_ENCODE) {
      deflateEnd(&zlib);
    } else {
      inflateEnd(&zlib);
    }
  }
  CompressionStreamState(const CompressionStreamState&) = delete;
  CompressionStreamState& operator=(const CompressionStreamState&) = delete;

  compression_stream_operation operation;
  bool initialised = false;
  z_stream zlib = {};
};

compression_stream::compression_stream() = default;
compression_stream::~compression_stream() = default;

compression_status compression_stream_init(compression_stream* stream, compression_stream_operation operation,
                                           compression_algorithm algorithm) {
  const bool known = operation == COMPRESSION_STREAM_ENCODE || operation == COMPRESSION_STREAM_DECODE;
  if (!known || algorithm != COMPRESSION_ZLIB) return COMPRESSION_STATUS_ERROR;
  stream->state = std::make_unique<CompressionStreamState>(operation);
  if (stream->state->initialised) return COMPRESSION_STATUS_OK;
  stream->state.reset();
  return COMPRESSION_STATUS_ERROR;
}

compression_status compression_stream_process(compression_stream* stream, std::int32_t flags) {
  if (!stream->state) return COMPRESSION_STATUS_ERROR;
  CompressionStreamState& state = *stream->state;
  z_stream& zlib = state.zlib;
  while (stream->dst_size > 0) {
    const std::size_t input = std::min(stream->src_size, LARGEST_PIECE);
    const std::size_t room = std::min(stream->dst_size, LARGEST_PIECE);
    const bool last = (flags & COMPRESSION_STREAM_FINALIZE) != 0 && input == stream->src_size;
    zlib.next_in = const_cast<Bytef*>(stream->src_ptr);  // zlib only reads it
    zlib.avail_in = static_cast<uInt>(input);
    zlib.next_out = stream->dst_ptr;
    zlib.avail_out = static_cast<uInt>(room);
    const int result = state.operation == COMPRESSION_STREAM_ENCODE
                           ? deflate(&zlib, last ? Z_FINISH : Z_NO_FLUSH)
                           : inflate(&zlib, Z_NO_FLUSH);
    const std::size_t consumed = input - zlib.avail_in;
    const std::size_t produced = room - zlib.avail_out;
    stream->src_ptr += consumed;
    stream->src_size -= consumed;
    stream->dst_ptr += produced;
    stream->dst_size -= produced;
    if (result == Z_STREAM_END) return COMPRESSION_STATUS_END;
    if (result != Z_OK && result != Z_BUF_ERROR) return COMPRESSION_STATUS_ERROR;
    if (consumed == 0 && produced == 0) return COMPRESSION_STATUS_OK;
  }
  return COMPRESSION_STATUS_OK;
}

compression_status compression_stream_destroy(compression_stream* stream) {
  if (!stream->state) return COMPRESSION_STATUS_ERROR;
  stream->state.reset();
  return COMPRESSION_STATUS_OK;
}

}  // namespace geoloom::platform
