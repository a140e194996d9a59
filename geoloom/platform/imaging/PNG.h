#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

/// The image of a PNG file: rows from the top, interleaved samples, no padding.
struct PNGImage {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t channels = 0;  ///< 1 gray, 3 red green blue, 4 with straight (not premultiplied) alpha last
  /// width * height * channels samples of 8 or, in the machine's byte order, 16 bits.
  std::variant<std::vector<std::uint8_t>, std::vector<std::uint16_t>> samples;

  /// The samples if they have that depth, else null.
  [[nodiscard]] const std::vector<std::uint8_t>* samples8() const { return std::get_if<0>(&samples); }
  [[nodiscard]] const std::vector<std::uint16_t>* samples16() const { return std::get_if<1>(&samples); }
};

/// Images of greater width or height, or of more than 2^28 pixels, are rejected.
inline constexpr std::size_t MAXIMUM_PNG_SIDE = 32768;

/// Converts palettes, gray of fewer than 8 bits, gray with alpha and transparent colours without loss to one
/// of the six forms of PNGImage (1, 3 or 4 channels of 8 or 16 bits). Fails for a truncated or damaged file,
/// or one too short for its stated size; the message begins with `name`.
[[nodiscard]] GEOLOOM_EXPORT base::Result<PNGImage> decodePNG(std::span<const std::uint8_t> bytes,
                                                              const std::string& name);
[[nodiscard]] GEOLOOM_EXPORT base::Result<PNGImage> readPNG(const std::filesystem::path& path);

/// `compressionLevel` is 0 to 9, as in zlib.
[[nodiscard]] GEOLOOM_EXPORT base::Result<std::vector<std::uint8_t>> encodePNG(const PNGImage& image,
                                                                               int compressionLevel = 6);
/// Returns the failure, or nothing if the file was written.
[[nodiscard]] GEOLOOM_EXPORT std::optional<base::Failure> writePNG(const std::filesystem::path& path,
                                                                   const PNGImage& image,
                                                                   int compressionLevel = 6);

/// A new BGRA buffer with the image: gray in all three colours, the upper 8 of 16 bits, alpha 255 for an
/// image without alpha. Null for a size of 0.
[[nodiscard]] GEOLOOM_EXPORT std::shared_ptr<CVPixelBuffer> makePixelBuffer(const PNGImage& image);

/// The image of a buffer in any format, as 8-bit RGB, or gray for `oneComponent8`, without alpha.
[[nodiscard]] GEOLOOM_EXPORT PNGImage makePNGImage(const CVPixelBuffer& buffer);

}  // namespace geoloom::platform
