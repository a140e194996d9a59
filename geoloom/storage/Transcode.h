#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "geoloom/platform/compression/CompressionStream.h"

namespace geoloom {

/// Room for the output of one pass over a source of that many bytes.
[[nodiscard]] constexpr std::size_t workingBufferSize(std::size_t sourceSize) {
  return std::clamp(sourceSize, std::size_t{64}, std::size_t{65536});
}

/// The whole source encoded or decoded, or nothing; see Data. `largestPiece` as in compression_stream_init.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> transcode(
    platform::compression_stream_operation operation, std::span<const std::uint8_t> source,
    std::size_t largestPiece = platform::largestCompressionPiece);

}  // namespace geoloom
