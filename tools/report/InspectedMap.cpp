#include "tools/report/InspectedMap.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/json/JSONMember.h"
#include "tools/report/Drawing.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

constexpr Ink DISTINCT{0.12, 0.43, 0.86};
constexpr Ink AMBIGUOUS{0.75, 0.45, 0.1};
constexpr Ink ASSET{0.08, 0.55, 0.24};
constexpr std::size_t SIDE = 900;
constexpr double MARGIN = 90;
constexpr double HEAD = 48;

InspectedMap read(const JSONMember& json) {
  InspectedMap map;
  for (const JSONMember& o : json["objects"].list()) {
    map.objects.push_back({o["name"].string(), o["sightings"].number(), o["x"].number(), o["y"].number(),
                           o["z"].number(), o["spread_meters"].number(), o["ambiguous"].boolean()});
  }
  for (const JSONMember& a : json["assets"].list())
    map.assets.push_back({a["id"].string(), a["x"].number(), a["z"].number()});
  map.reason = json["reason"].string();
  if (!json["predicted_error_meters"].isNull()) map.predictedError = json["predicted_error_meters"].number();
  for (const JSONMember& name : json["smallest_set"].list()) map.smallestSet.push_back(name.string());
  return map;
}

/// From metres over the ground to pixels, so that everything fits.
class Scale {
 public:
  explicit Scale(const InspectedMap& map) {
    double x0 = 0;
    double x1 = 0;
    double z0 = 0;
    double z1 = 0;
    const auto include = [&](double x, double z) {
      x0 = std::min(x0, x);
      x1 = std::max(x1, x);
      z0 = std::min(z0, z);
      z1 = std::max(z1, z);
    };
    for (const auto& object : map.objects) include(object.x, object.z);
    for (const auto& asset : map.assets) include(asset.x, asset.z);
    pixelsPerMetre_ = (static_cast<double>(SIDE) - 2 * MARGIN) / std::max({x1 - x0, z1 - z0, 0.5});
    centre_ = {(x0 + x1) / 2, (z0 + z1) / 2};
  }

  [[nodiscard]] Point at(double x, double z) const {
    return {SIDE / 2.0 + (x - centre_.x) * pixelsPerMetre_,
            HEAD + SIDE / 2.0 + (z - centre_.y) * pixelsPerMetre_};
  }
  [[nodiscard]] double pixelsPerMetre() const { return pixelsPerMetre_; }

 private:
  double pixelsPerMetre_ = 1;
  Point centre_;
};

}  // namespace

base::Result<InspectedMap> readInspectedMap(const platform::JSON& answer, const std::string& name) {
  try {
    return read(JSONMember(answer, ""));
  } catch (const MalformedJSON& what) {
    return base::Failure{fmt::format("{}: {}", name, what.what())};
  }
}

std::vector<std::string> linesOf(const InspectedMap& map) {
  std::vector<std::string> lines{
      fmt::format("{:<16} {:>9}  {:^23}  {:>8}", "object", "sightings", "position", "spread")};
  for (const auto& o : map.objects) {
    lines.push_back(fmt::format("{:<16} {:>9.0f}  {:7.3f} {:7.3f} {:7.3f}  {:5.1f} cm{}", o.name, o.sightings,
                                o.x, o.y, o.z, 100 * o.spread, o.isAmbiguous ? "  ambiguous" : ""));
  }
  if (map.reason != "accepted") {
    lines.push_back(fmt::format("{}, {}: sessions cannot be localized yet ({}); scan on",
                                counted(map.objects.size(), "object"), counted(map.assets.size(), "asset"),
                                map.reason));
    return lines;
  }
  lines.push_back(
      fmt::format("{}, {}: sessions can be localized, expected error {:.0f} cm; enough to see: {}",
                  counted(map.objects.size(), "object"), counted(map.assets.size(), "asset"),
                  100 * map.predictedError.value_or(0), fmt::join(map.smallestSet, ", ")));
  return lines;
}

platform::PNGImage planOf(const InspectedMap& map) {
  const Scale scale(map);
  Drawing drawing(SIDE, SIDE + static_cast<std::size_t>(HEAD), PAPER);
  for (const auto& object : map.objects) {
    const Point at = scale.at(object.x, object.z);
    const Ink ink = object.isAmbiguous ? AMBIGUOUS : DISTINCT;
    drawing.dot(at, 4, ink);
    drawing.ring(at, std::max(6.0, object.spread * scale.pixelsPerMetre()), ink);
    drawing.label(at, object.name, ink);
  }
  for (const auto& asset : map.assets) {
    drawing.cross(scale.at(asset.x, asset.z), 7, ASSET);
    drawing.label(scale.at(asset.x, asset.z), asset.id, ASSET);
  }
  double x = 24;
  for (const auto& [word, ink] :
       {std::pair{"object, with its spread", DISTINCT}, {"ambiguous object", AMBIGUOUS}, {"asset", ASSET}}) {
    drawing.dot({x, 24}, 6, ink);
    drawing.text({x + 12, 30}, word, TEXT);
    x += 230;
  }
  drawing.caption(linesOf(map).back());
  return drawing.finish();
}

}  // namespace geoloom::tools
