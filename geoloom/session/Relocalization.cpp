#include "geoloom/session/Relocalization.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "geoloom/base/Text.h"

namespace geoloom {
namespace {

using base::text;
using platform::JSON;
using platform::SCNVector3;

struct Placement {
  std::string id;
  SCNVector3 position;
  float orientation;
};

std::optional<Placement> readPlacement(const JSON& element) {
  const auto placement = element["placement"];
  const auto asset = element["asset"];
  if (!placement || !asset) return std::nullopt;
  const auto x = placement->number("x");
  const auto y = placement->number("y");
  const auto z = placement->number("z");
  const auto orientation = placement->number("ori");
  auto id = asset->string("id");
  if (!x || !y || !z || !orientation || !id) return std::nullopt;
  return Placement{std::move(*id),
                   {static_cast<float>(*x), static_cast<float>(*y), static_cast<float>(*z)},
                   static_cast<float>(*orientation)};
}

// Sums from 0 in the order of the terms: the results must be exact.
float dot(const SCNVector3& row, const SCNVector3& v) {
  float sum = 0;
  sum += row.x * v.x;
  sum += row.y * v.y;
  sum += row.z * v.z;
  return sum;
}

SCNVector3 transformed(const SCNVector3& p, const std::vector<float>& transform) {
  const float s = std::sin(transform[3]);
  const float c = std::cos(transform[3]);
  return {transform[0] + dot({c, 0, s}, p), transform[1] + dot({0, 1, 0}, p),
          transform[2] + dot({-s, 0, c}, p)};
}

std::string list(const std::vector<float>& numbers) {
  std::string out = "[";
  for (const float number : numbers) {
    if (out.size() > 1) out += ", ";
    out += text(number);
  }
  return out + "]";
}

std::string tuple(const SCNVector3& v) {
  return fmt::format("({}, {}, {})", text(v.x), text(v.y), text(v.z));
}

}  // namespace

std::vector<float> parseTransform(std::string_view text) {
  std::vector<float> numbers;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, text.find(','));
    if (!piece.empty()) numbers.push_back(base::lenientFloat(piece));
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
  }
  return numbers;
}

std::vector<std::shared_ptr<MapAsset>> relocalize(const JSON& storedAssets,
                                                  const std::vector<float>& transform,
                                                  const platform::LineSink& print) {
  std::vector<std::shared_ptr<MapAsset>> assets;
  const auto placements = storedAssets["placements"];
  if (!placements) return assets;
  const std::string matrixLine = fmt::format("matrix: {}", list(transform));
  placements->forEach([&](const JSON& element) {
    auto stored = readPlacement(element);
    if (!stored) return;
    const SCNVector3 p = transformed(stored->position, transform);
    print(matrixLine);
    print(fmt::format("Relocalized asset orig position {}", tuple(stored->position)));
    print(fmt::format("Relocalized asset new position {}", tuple(p)));
    print(fmt::format("dist: {}", text(std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z))));
    assets.push_back(std::make_shared<MapAsset>(std::move(stored->id), p, stored->orientation));
    assets.back()->confidence = MapAsset::RELOCALIZED_CONFIDENCE;
  });
  return assets;
}

std::vector<std::shared_ptr<MapAsset>> resolved(const std::vector<std::shared_ptr<MapAsset>>& assets,
                                                const std::vector<float>& translation, float confidence) {
  std::vector<std::shared_ptr<MapAsset>> moved;
  moved.reserve(assets.size());
  for (const auto& asset : assets) {
    if (!asset) continue;
    const SCNVector3 p = asset->position;
    const SCNVector3 position{p.x + translation[0], p.y + translation[1], p.z + translation[2]};
    moved.push_back(std::make_shared<MapAsset>(asset->assetID, position, asset->orientation));
    moved.back()->confidence = confidence;
  }
  return moved;
}

}  // namespace geoloom
