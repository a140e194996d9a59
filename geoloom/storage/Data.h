#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "geoloom/Export.h"

namespace geoloom {

/// A byte buffer that owns its bytes.
///
///     const std::optional<Data> packed = Data("a text, or bytes").compress();
///     const std::optional<Data> again = packed->decompress();   // again->text() == "a text, or bytes"
///
/// Compression is raw DEFLATE (RFC 1951), without header and checksum, compatible with all encoders and
/// decoders of this format. Both operations read the bytes in place, keep no state between calls and may run
/// on several threads at once. Besides the result they need at most 64 KiB and zlib's own state.
class GEOLOOM_EXPORT Data {
 public:
  Data() = default;
  /// Moves the bytes in.
  explicit Data(std::vector<std::uint8_t> bytes);
  /// Copies the bytes.
  explicit Data(std::span<const std::uint8_t> bytes);
  explicit Data(std::span<const std::byte> bytes);
  explicit Data(std::string_view text);

  [[nodiscard]] const std::vector<std::uint8_t>& bytes() const& { return bytes_; }
  /// Moves the bytes out.
  [[nodiscard]] std::vector<std::uint8_t> bytes() && { return std::move(bytes_); }
  /// The bytes as a text, valid as long as this object.
  [[nodiscard]] std::string_view text() const&;
  [[nodiscard]] std::size_t count() const { return bytes_.size(); }

  /// The compressed bytes; an empty buffer gives the few bytes of an empty stream. Absent if zlib fails.
  [[nodiscard]] std::optional<Data> compress() const;

  /// The decompressed bytes. Absent, never a part of the result, for an empty buffer, bytes that are not a
  /// DEFLATE stream and a truncated stream. Bytes after the end of the stream are ignored. There is no
  /// checksum: damage that leaves the stream valid is not detected. Untrusted bytes may decode to a thousand
  /// times their size.
  [[nodiscard]] std::optional<Data> decompress() const;

  friend bool operator==(const Data&, const Data&) = default;

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace geoloom
