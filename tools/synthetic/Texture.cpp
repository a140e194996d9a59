#include "tools/synthetic/Texture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "tools/synthetic/Random.h"

namespace geoloom::tools {
namespace {

std::uint32_t pack(const Colour& c) {
  const auto byte = [](float v) {
    return static_cast<std::uint32_t>(std::lround(std::clamp(v, 0.0F, 255.0F)));
  };
  return byte(c.red) | byte(c.green) << 8U | byte(c.blue) << 16U | byte(c.alpha) << 24U;
}

Colour unpack(std::uint32_t packed) {
  return {static_cast<float>(packed & 0xFFU), static_cast<float>(packed >> 8U & 0xFFU),
          static_cast<float>(packed >> 16U & 0xFFU), static_cast<float>(packed >> 24U)};
}

Colour mix(const Colour& a, const Colour& b, float share) {
  return {a.red + (b.red - a.red) * share, a.green + (b.green - a.green) * share,
          a.blue + (b.blue - a.blue) * share, a.alpha + (b.alpha - a.alpha) * share};
}

Colour scaled(const Colour& c, float factor) {
  return {c.red * factor, c.green * factor, c.blue * factor, c.alpha};
}

/// Smooth noise of the given number of cells a side that repeats without a seam, -1 to 1.
class ValueNoise {
 public:
  ValueNoise(Random& random, std::size_t cells) : cells_(cells), values_(cells * cells) {
    for (float& v : values_) v = 2 * random() - 1;
  }

  [[nodiscard]] float at(float s, float t) const {
    const float x = s * static_cast<float>(cells_);
    const float y = t * static_cast<float>(cells_);
    const auto column = static_cast<std::size_t>(x);
    const auto row = static_cast<std::size_t>(y);
    const float fx = smooth(x - static_cast<float>(column));
    const float fy = smooth(y - static_cast<float>(row));
    const float upper = value(column, row) + (value(column + 1, row) - value(column, row)) * fx;
    const float lower = value(column, row + 1) + (value(column + 1, row + 1) - value(column, row + 1)) * fx;
    return upper + (lower - upper) * fy;
  }

 private:
  static float smooth(float f) { return f * f * (3 - 2 * f); }
  [[nodiscard]] float value(std::size_t column, std::size_t row) const {
    return values_[row % cells_ * cells_ + column % cells_];
  }

  std::size_t cells_;
  std::vector<float> values_;
};

constexpr std::size_t side = 1024;

}  // namespace

Texture::Texture(const platform::PNGImage& picture) {
  const std::size_t channels = picture.channels;
  std::vector<Colour> texels;
  texels.reserve(picture.width * picture.height);
  for (std::size_t i = 0; i < picture.width * picture.height; ++i) {
    const std::uint8_t* p = picture.samples8()->data() + i * channels;
    const auto value = [&](std::size_t c) { return static_cast<float>(p[channels < 3 ? 0 : c]); };
    texels.push_back({value(0), value(1), value(2), channels == 4 ? value(3) : 255.0F});
  }
  addHalvings(picture.width, picture.height, std::move(texels));
}

Texture::Texture(std::vector<Colour> texels, std::size_t size) {
  addHalvings(size, size, std::move(texels));
}

void Texture::addLevel(std::size_t width, std::size_t height, const std::vector<Colour>& texels) {
  Level& level = levels_.emplace_back(Level{width, height, {}});
  level.texels.reserve(texels.size());
  for (const Colour& c : texels) {
    level.texels.push_back(pack(c));
    isOpaque_ = isOpaque_ && c.alpha > 254;
  }
}

void Texture::addHalvings(std::size_t width, std::size_t height, std::vector<Colour> texels) {
  addLevel(width, height, texels);
  while (width > 1 || height > 1) {
    const std::size_t w = std::max<std::size_t>(1, width / 2);
    const std::size_t h = std::max<std::size_t>(1, height / 2);
    std::vector<Colour> half(w * h);
    for (std::size_t y = 0; y < h; ++y) {
      for (std::size_t x = 0; x < w; ++x) {
        const std::size_t x1 = std::min(2 * x + 1, width - 1);
        const std::size_t y1 = std::min(2 * y + 1, height - 1);
        const Colour upper = mix(texels[2 * y * width + 2 * x], texels[2 * y * width + x1], 0.5F);
        const Colour lower = mix(texels[y1 * width + 2 * x], texels[y1 * width + x1], 0.5F);
        half[y * w + x] = mix(upper, lower, 0.5F);
      }
    }
    texels = std::move(half);
    width = w;
    height = h;
    addLevel(width, height, texels);
  }
}

Colour Texture::sample(float s, float t, float footprint) const {
  // The level whose texels are at most as large as the pixel: a little sharp rather than blurred.
  const auto wanted = static_cast<std::size_t>(footprint < 2 ? 0 : std::ilogb(footprint));
  const Level& level = levels_[std::min(wanted, levels_.size() - 1)];
  const float x =
      (s - std::floor(s)) * static_cast<float>(level.width) - 0.5F + static_cast<float>(level.width);
  const float y =
      (t - std::floor(t)) * static_cast<float>(level.height) - 0.5F + static_cast<float>(level.height);
  const auto column = static_cast<std::size_t>(x);
  const auto row = static_cast<std::size_t>(y);
  const auto texel = [&](std::size_t c, std::size_t r) {
    return unpack(level.texels[r % level.height * level.width + c % level.width]);
  };
  const float fx = x - static_cast<float>(column);
  const float fy = y - static_cast<float>(row);
  return mix(mix(texel(column, row), texel(column + 1, row), fx),
             mix(texel(column, row + 1), texel(column + 1, row + 1), fx), fy);
}

Texture plasterTexture(unsigned seed, Colour base) {
  Random random(seed);
  const ValueNoise coarse(random, 6);
  const ValueNoise middle(random, 23);
  const ValueNoise fine(random, 128);
  std::vector<Colour> texels;
  for (std::size_t y = 0; y < side; ++y) {
    for (std::size_t x = 0; x < side; ++x) {
      const float s = static_cast<float>(x) / side;
      const float t = static_cast<float>(y) / side;
      const float stain = 0.5F * coarse.at(s, t) + 0.3F * middle.at(s, t) + 0.35F * fine.at(s, t);
      texels.push_back(scaled(base, 1 + 0.06F * stain));
    }
  }
  return {std::move(texels), side};
}

Texture plankTexture(unsigned seed, Colour base) {
  Random random(seed);
  const ValueNoise coarse(random, 4);
  const ValueNoise fine(random, 128);
  constexpr std::size_t planks = 8;
  constexpr std::size_t width = side / planks;
  std::array<float, planks> shift{};
  std::array<float, 2 * planks> tint{};
  for (float& s : shift) s = random();
  for (float& t : tint) t = 0.85F + 0.3F * random();
  std::vector<Colour> texels(side * side);
  for (std::size_t y = 0; y < side; ++y) {
    const std::size_t plank = y / width;
    for (std::size_t x = 0; x < side; ++x) {
      const float s = static_cast<float>(x) / side;
      const float t = static_cast<float>(y) / side;
      const float along = s + shift[plank];
      const float whole = along - std::floor(along);
      const auto half = static_cast<std::size_t>(whole < 0.5F ? 0 : 1);
      const bool inJoint = y % width < 3 || std::abs(whole - 0.5F) < 0.0015F || whole < 0.0015F;
      const float stretched = along * 0.125F;
      const float grain = fine.at(stretched - std::floor(stretched), t) + 0.5F * coarse.at(s, t);
      texels[y * side + x] = scaled(base, inJoint ? 0.55F : tint[2 * plank + half] * (1 + 0.09F * grain));
    }
  }
  return {std::move(texels), side};
}

}  // namespace geoloom::tools
