#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "geoloom/base/Result.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom::platform {

/// A picture as a PNG file holds it: rows from the top, samples interleaved, no padding.
struct PNGImage {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t channels = 0;  ///< 1 gray, 3 red green blue, 4 with straight (not premultiplied) alpha last
  /// width * height * channels samples of 8 or, in the machine's byte order, 16 bits.
  std::variant<std::vector<std::uint8_t>, std::vector<std::uint16_t>> samples;

  /// The samples when they have that depth, else null.
  [[nodiscard]] const std::vector<std::uint8_t>* samples8() const { return std::get_if<0>(&samples); }
  [[nodiscard]] const std::vector<std::uint16_t>* samples16() const { return std::get_if<1>(&samples); }
};

/// Width and height above this are refused, as are pictures of more than 2^28 pixels.
inline constexpr std::size_t maximumPNGSide = 32768;

/// Palettes, gray of fewer than 8 bits, gray with alpha and transparent colours come back as the nearest of
/// the six forms of PNGImage, without loss. A file that is cut off, damaged or dishonest about its size is a
/// failure; `name` stands at the front of its message.
[[nodiscard]] base::Result<PNGImage> decodePNG(std::span<const std::uint8_t> bytes, const std::string& name);
[[nodiscard]] base::Result<PNGImage> readPNG(const std::filesystem::path& path);

/// `compressionLevel` is 0 to 9 as zlib counts.
[[nodiscard]] base::Result<std::vector<std::uint8_t>> encodePNG(const PNGImage& image,
                                                                int compressionLevel = 6);
/// The reason when the file could not be written.
[[nodiscard]] GEOLOOM_EXPORT std::optional<base::Failure> writePNG(const std::filesystem::path& path,
                                                                   const PNGImage& image,
                                                                   int compressionLevel = 6);

/// A new BGRA buffer with the picture in it: gray in all three colours, 16 bits by their upper 8, opaque
/// where there is no alpha. Null when there is no memory for it.
[[nodiscard]] std::shared_ptr<CVPixelBuffer> makePixelBuffer(const PNGImage& image);

/// The picture of a buffer in any format, as 8-bit RGB, or gray for `oneComponent8`. Alpha is left out.
[[nodiscard]] GEOLOOM_EXPORT PNGImage makePNGImage(const CVPixelBuffer& buffer);

}  // namespace geoloom::platform
