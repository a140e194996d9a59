#include "tools/replay/Placements.h"

#include <cmath>

#include "geoloom/base/ReadFile.h"

#include "tools/json/JSONMember.h"

namespace geoloom::tools {
namespace {

Placements::Frame frameOf(const JSONMember& frame) {
  if (!frame.isPresent() || frame.string() == "session") return Placements::Frame::session;
  if (frame.string() == "recording") return Placements::Frame::recording;
  throw MalformedJSON(frame.path() + " must be \"session\" or \"recording\"");
}

}  // namespace

base::Result<Placements> parsePlacements(std::string_view json, const std::string& name) {
  return readJSON<Placements>(json, name, [](const JSONMember& file) {
    Placements result;
    result.frame = frameOf(file["frame"]);
    for (const JSONMember& asset : file["assets"].list()) {
      result.assets.push_back({asset["id"].string(), asset["x"].number(), asset["y"].number(),
                               asset["z"].number(), asset["orientation"].number(0)});
    }
    return result;
  });
}

base::Result<Placements> readPlacements(const std::filesystem::path& path) {
  const auto text = base::readFileOrPipe(path, maximumJSONBytes);
  if (!text) return text.failure();
  return parsePlacements(*text, path.string());
}

std::vector<Placement> inSession(const Placements& placements,
                                 const platform::simd_float4x4& sessionFromRecording) {
  std::vector<Placement> assets = placements.assets;
  if (placements.frame == Placements::Frame::session) return assets;
  const auto& [cx, cy, cz, translation] = sessionFromRecording.columns;
  // A turn by an angle a about the vertical has the rows (cos a, 0, sin a), (0, 1, 0), (-sin a, 0, cos a).
  const double turn = std::atan2(static_cast<double>(cz.x), static_cast<double>(cz.z));
  for (Placement& asset : assets) {
    const auto along = [&](float x, float y, float z, float t) {
      return static_cast<double>(x) * asset.x + static_cast<double>(y) * asset.y +
             static_cast<double>(z) * asset.z + static_cast<double>(t);
    };
    asset = {asset.id, along(cx.x, cy.x, cz.x, translation.x), along(cx.y, cy.y, cz.y, translation.y),
             along(cx.z, cy.z, cz.z, translation.z), asset.orientation + turn};
  }
  return assets;
}

}  // namespace geoloom::tools
