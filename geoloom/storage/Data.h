#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "geoloom/Export.h"

namespace geoloom {

/// A byte buffer that owns its bytes.
///
/// Compression is raw DEFLATE (RFC 1951), without header and checksum: any raw-DEFLATE decoder reads it, and
/// any encoder's output can be decoded. Both operations read the bytes in place, keep no state between calls
/// and may run on any number of threads at once; beside the result they need at most 64 KiB and what zlib
/// takes. Buffers may be larger than 4 GiB.
class GEOLOOM_EXPORT Data {
 public:
  Data() = default;
  /// Takes the bytes over.
  explicit Data(std::vector<std::uint8_t> bytes);
  /// Copies the bytes.
  explicit Data(std::span<const std::uint8_t> bytes);

  [[nodiscard]] const std::vector<std::uint8_t>& bytes() const& { return bytes_; }
  /// Hands the bytes over.
  [[nodiscard]] std::vector<std::uint8_t> bytes() && { return std::move(bytes_); }
  [[nodiscard]] std::size_t count() const { return bytes_.size(); }

  /// The bytes encoded; an empty buffer gives the few bytes of an empty stream. Absent only when memory does
  /// not suffice.
  [[nodiscard]] std::optional<Data> compress() const;

  /// The bytes decoded. Absent, never a part of the result, for an empty buffer, bytes that are no DEFLATE
  /// stream, a stream that is cut anywhere, and when memory does not suffice. Bytes after the end of the
  /// stream are ignored. There is no checksum: damage that leaves a valid stream goes unnoticed, and the
  /// result of a stranger's bytes may be a thousand times as large as they are.
  [[nodiscard]] std::optional<Data> decompress() const;

  friend bool operator==(const Data&, const Data&) = default;

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace geoloom
