#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"

#include <cmath>
#include <vector>

namespace geoloom {
namespace {

struct BoxShape {
  double scale;
  double aspectRatio;  ///< width over height
};

constexpr std::array<int, 6> GRID_SIDES{19, 10, 5, 3, 2, 1};

double baseScale(std::size_t layer) {
  return layer < GRID_SIDES.size() ? 0.2 + 0.15 * static_cast<double>(layer) : 1.0;
}

std::vector<BoxShape> shapesOfLayer(std::size_t layer) {
  if (layer == 0) return {{0.1, 1.0}, {0.2, 2.0}, {0.2, 0.5}};
  const double scale = baseScale(layer);
  const double between = std::sqrt(scale * baseScale(layer + 1));
  // Exactly 0.3333, as in the network's training, not a third.
  return {{scale, 1.0}, {between, 1.0}, {scale, 2.0}, {scale, 0.5}, {scale, 3.0}, {scale, 0.3333}};
}

SSDAnchors::Row rowOf(double centreY, double centreX, BoxShape shape) {
  const double height = shape.scale / std::sqrt(shape.aspectRatio);
  const double width = shape.scale * std::sqrt(shape.aspectRatio);
  return {static_cast<float>(centreY - height / 2), static_cast<float>(centreX - width / 2),
          static_cast<float>(centreY + height / 2), static_cast<float>(centreX + width / 2)};
}

std::array<SSDAnchors::Row, SSDAnchors::COUNT> makeAnchors() {
  std::array<SSDAnchors::Row, SSDAnchors::COUNT> rows{};
  std::size_t next = 0;
  for (std::size_t layer = 0; layer < GRID_SIDES.size(); ++layer) {
    const int side = GRID_SIDES[layer];
    const auto shapes = shapesOfLayer(layer);
    for (int i = 0; i < side; ++i) {
      for (int j = 0; j < side; ++j) {
        for (const BoxShape& shape : shapes)
          rows.at(next++) = rowOf((i + 0.5) / side, (j + 0.5) / side, shape);
      }
    }
  }
  return rows;
}

}  // namespace

const std::array<SSDAnchors::Row, SSDAnchors::COUNT>& SSDAnchors::anchors() {
  static const auto table = makeAnchors();
  return table;
}

}  // namespace geoloom
