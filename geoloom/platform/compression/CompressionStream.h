#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace geoloom::platform {

// The platform's stream compression under its own names, implemented on zlib.

enum compression_algorithm : std::int32_t {
  COMPRESSION_ZLIB = 0x205,  ///< raw DEFLATE (RFC 1951), encoded at level 5; no zlib header, no checksum
};

enum compression_stream_operation : std::int32_t {
  COMPRESSION_STREAM_ENCODE = 0,
  COMPRESSION_STREAM_DECODE = 1,
};

/// The source holds all remaining input.
inline constexpr std::int32_t COMPRESSION_STREAM_FINALIZE = 1;

enum compression_status : std::int32_t {
  COMPRESSION_STATUS_OK = 0,
  COMPRESSION_STATUS_ERROR = -1,
  COMPRESSION_STATUS_END = 1,
};

struct CompressionStreamState;

/// A stream between init and destroy. The caller sets the four public fields; processing advances the
/// pointers and decreases the sizes. Use it on one thread at a time.
struct compression_stream {
  std::uint8_t* dst_ptr = nullptr;
  std::size_t dst_size = 0;
  const std::uint8_t* src_ptr = nullptr;
  std::size_t src_size = 0;

  compression_stream();
  ~compression_stream();
  compression_stream(const compression_stream&) = delete;
  compression_stream& operator=(const compression_stream&) = delete;

  std::unique_ptr<CompressionStreamState> state;
};

/// COMPRESSION_STATUS_ERROR for an unknown operation or algorithm, or if zlib cannot allocate its state. Does
/// not touch the four public fields.
[[nodiscard]] compression_status compression_stream_init(compression_stream* stream,
                                                         compression_stream_operation operation,
                                                         compression_algorithm algorithm);

/// Works until the destination is full, the source is used up or the stream ends. OK: call again with more
/// room or more input. END: the stream is complete and the source points behind it. ERROR: the source is not
/// a valid stream, or the stream was not initialised. With the finalize flag, OK with room left means that
/// the stream is truncated.
[[nodiscard]] compression_status compression_stream_process(compression_stream* stream, std::int32_t flags);

/// Releases what init allocated, as does the destructor. COMPRESSION_STATUS_ERROR for a stream that was not
/// initialised.
compression_status compression_stream_destroy(compression_stream* stream);

}  // namespace geoloom::platform
