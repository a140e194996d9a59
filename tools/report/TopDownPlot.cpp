#include "tools/report/TopDownPlot.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "tools/report/Canvas.h"

namespace geoloom::tools {
namespace {

constexpr std::size_t side = 900;
constexpr double margin = 70;
constexpr Ink paper{250, 250, 247};
constexpr Ink gridInk{225, 225, 220};
constexpr Ink textInk{60, 60, 60};
constexpr Ink mappingInk{30, 110, 220};
constexpr Ink localizationInk{220, 60, 50};
constexpr Ink truthInk{20, 140, 60};
constexpr std::int64_t leastSeen = 5;

/// What is to be drawn, in the map's coordinates.
struct Mark {
  double x;
  double z;
  std::string label;
};

struct Layer {
  std::vector<std::pair<double, double>> way;
  std::vector<Mark> objects;
  std::vector<Mark> assets;
};

/// What is seen as two things in one place gets both names.
void addObject(std::vector<Mark>& objects, const Mark& object) {
  constexpr double samePlace = 0.15;
  for (Mark& other : objects) {
    if (std::hypot(other.x - object.x, other.z - object.z) > samePlace) continue;
    other.label += " / " + object.label;
    return;
  }
  objects.push_back(object);
}

Layer layerOf(const Trace& trace, const std::vector<TracedAsset>& assets, const GroundMotion& toMap) {
  Layer layer;
  const auto moved = [&](float x, float z) {
    return toMap.apply(static_cast<double>(x), static_cast<double>(z));
  };
  for (const TracedFrame& frame : trace.frames)
    layer.way.push_back(moved(frame.position.x, frame.position.z));
  for (const TracedTrack& track : trace.tracks) {
    if (track.seenFrames < leastSeen) continue;
    const auto c = track.box.center();
    const auto [x, z] = moved(c.x, c.z);
    addObject(layer.objects, {x, z, track.name});
  }
  for (const TracedAsset& asset : assets) {
    const auto [x, z] = moved(asset.position.x, asset.position.z);
    layer.assets.push_back({x, z, asset.id});
  }
  return layer;
}

/// From metres to pixels, so that everything fits.
class Scale {
 public:
  explicit Scale(const std::vector<Layer>& layers) {
    double x0 = std::numeric_limits<double>::max();
    double x1 = std::numeric_limits<double>::lowest();
    double z0 = x0;
    double z1 = x1;
    const auto include = [&](double x, double z) {
      x0 = std::min(x0, x);
      x1 = std::max(x1, x);
      z0 = std::min(z0, z);
      z1 = std::max(z1, z);
    };
    include(0, 0);
    for (const Layer& layer : layers) {
      for (const auto& [x, z] : layer.way) include(x, z);
      for (const Mark& mark : layer.objects) include(mark.x, mark.z);
      for (const Mark& mark : layer.assets) include(mark.x, mark.z);
    }
    pixelsPerMetre_ = (static_cast<double>(side) - 2 * margin) / std::max({x1 - x0, z1 - z0, 0.5});
    centreX_ = (x0 + x1) / 2;
    centreZ_ = (z0 + z1) / 2;
  }

  [[nodiscard]] double x(double metres) const { return side / 2.0 + (metres - centreX_) * pixelsPerMetre_; }
  [[nodiscard]] double y(double metres) const { return side / 2.0 + (metres - centreZ_) * pixelsPerMetre_; }
  [[nodiscard]] double firstMetreX() const { return std::floor(centreX_ - side / 2.0 / pixelsPerMetre_); }
  [[nodiscard]] double firstMetreZ() const { return std::floor(centreZ_ - side / 2.0 / pixelsPerMetre_); }

 private:
  double pixelsPerMetre_;
  double centreX_;
  double centreZ_;
};

void drawGrid(Canvas& canvas, const Scale& scale) {
  for (double x = scale.firstMetreX(); scale.x(x) < side; ++x)
    canvas.line(scale.x(x), 0, scale.x(x), side, gridInk);
  for (double z = scale.firstMetreZ(); scale.y(z) < side; ++z)
    canvas.line(0, scale.y(z), side, scale.y(z), gridInk);
}

void drawLayer(Canvas& canvas, const Scale& scale, const Layer& layer, Ink ink, bool labels) {
  for (std::size_t i = 1; i < layer.way.size(); ++i) {
    const auto& [x0, z0] = layer.way[i - 1];
    const auto& [x1, z1] = layer.way[i];
    canvas.line(scale.x(x0), scale.y(z0), scale.x(x1), scale.y(z1), ink, 2);
  }
  if (!layer.way.empty()) canvas.ring(scale.x(layer.way[0].first), scale.y(layer.way[0].second), 7, ink);
  for (const Mark& mark : layer.objects) {
    if (labels) canvas.text(scale.x(mark.x) + 9, scale.y(mark.z) - 7, mark.label, textInk);
    canvas.dot(scale.x(mark.x), scale.y(mark.z), 5, ink);
  }
  for (const Mark& mark : layer.assets) canvas.cross(scale.x(mark.x), scale.y(mark.z), 7, ink);
}

}  // namespace

std::pair<double, double> GroundMotion::apply(double px, double pz) const {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  return {c * px + s * pz + x, -s * px + c * pz + z};
}

std::optional<GroundMotion> motionBetween(const std::vector<TracedAsset>& from,
                                          const std::vector<TracedAsset>& to) {
  struct Pair {
    double px, pz, qx, qz;
  };
  std::vector<Pair> pairs;
  Pair mean{0, 0, 0, 0};
  for (const TracedAsset& a : from) {
    const auto b = std::find_if(to.begin(), to.end(), [&](const TracedAsset& t) { return t.id == a.id; });
    if (b == to.end()) continue;
    pairs.push_back({static_cast<double>(a.position.x), static_cast<double>(a.position.z),
                     static_cast<double>(b->position.x), static_cast<double>(b->position.z)});
    const Pair& p = pairs.back();
    mean = {mean.px + p.px, mean.pz + p.pz, mean.qx + p.qx, mean.qz + p.qz};
  }
  if (pairs.size() < 2) return std::nullopt;
  const auto n = static_cast<double>(pairs.size());
  mean = {mean.px / n, mean.pz / n, mean.qx / n, mean.qz / n};
  double sine = 0;
  double cosine = 0;
  for (const Pair& pair : pairs) {
    const Pair p{pair.px - mean.px, pair.pz - mean.pz, pair.qx - mean.qx, pair.qz - mean.qz};
    sine += p.pz * p.qx - p.px * p.qz;
    cosine += p.px * p.qx + p.pz * p.qz;
  }
  GroundMotion motion{std::atan2(sine, cosine), 0, 0};
  const auto [x, z] = motion.apply(mean.px, mean.pz);
  motion.x = mean.qx - x;
  motion.z = mean.qz - z;
  return motion;
}

platform::PNGImage topDownPlot(const Trace& mapping, const Trace& localization,
                               const std::optional<Placements>& truth) {
  const std::vector<TracedAsset> relocalized =
      localization.relocalized.empty() ? std::vector<TracedAsset>{} : localization.relocalized.back().assets;
  const std::optional<GroundMotion> toMap = motionBetween(relocalized, mapping.placed);
  std::vector<Layer> layers{layerOf(mapping, {}, {}),
                            toMap ? layerOf(localization, relocalized, *toMap) : Layer{}};
  Layer really;
  if (truth && !mapping.recordings.empty()) {
    for (const Placement& asset : inSession(*truth, mapping.recordings.front().sessionFromRecording)) {
      really.assets.push_back({asset.x, asset.z, asset.id});
    }
  }
  layers.push_back(really);

  Canvas canvas(side, side, paper);
  const Scale scale(layers);
  drawGrid(canvas, scale);
  drawLayer(canvas, scale, layers[0], mappingInk, true);
  drawLayer(canvas, scale, layers[1], localizationInk, false);
  for (const Mark& mark : really.assets) {
    canvas.text(scale.x(mark.x) + 14, scale.y(mark.z) + 4, mark.label, textInk);
    canvas.ring(scale.x(mark.x), scale.y(mark.z), 11, truthInk);
  }
  canvas.text(12, 12, "mapping: way from o, objects", mappingInk);
  canvas.text(12, 34, toMap ? "localization: way from o, objects, x assets" : "localization: no transform",
              localizationInk);
  canvas.text(12, 56, "o true places of the assets", truthInk);
  canvas.text(12, side - 26, "grid 1 m, map coordinates, x right, z down", textInk);
  return canvas.picture();
}

}  // namespace geoloom::tools
