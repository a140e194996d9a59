#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geoloom/platform/imaging/PNG.h"

namespace geoloom::tools {

/// 0 to 255 each; alpha 255 is opaque.
struct Colour {
  float red = 0;
  float green = 0;
  float blue = 0;
  float alpha = 255;
};

/// A picture with its halvings, so that it can be looked up from far away without flicker. Immutable.
class Texture {
 public:
  /// Any picture with 8 bits a sample.
  explicit Texture(const platform::PNGImage& picture);

  /// Rows of colours from the top, as many as in a row.
  Texture(std::vector<Colour> texels, std::size_t side);

  [[nodiscard]] float width() const { return static_cast<float>(levels_.front().width); }
  [[nodiscard]] float height() const { return static_cast<float>(levels_.front().height); }
  [[nodiscard]] bool isOpaque() const { return isOpaque_; }

  /// The colour at (s, t), 0 to 1 from the top left, repeating beyond; `footprint` is the side of the pixel
  /// that asks, in texels of the largest level.
  [[nodiscard]] Colour sample(float s, float t, float footprint) const;

 private:
  struct Level {
    std::size_t width;
    std::size_t height;
    std::vector<std::uint32_t> texels;
  };
  void addLevel(std::size_t width, std::size_t height, const std::vector<Colour>& texels);
  void addHalvings(std::size_t width, std::size_t height, std::vector<Colour> texels);

  std::vector<Level> levels_;
  bool isOpaque_ = true;
};

/// The look of a painted wall, softly stained.
[[nodiscard]] Texture plasterTexture(unsigned seed, Colour base);
/// Boards of wood along s.
[[nodiscard]] Texture plankTexture(unsigned seed, Colour base);

}  // namespace geoloom::tools
