#include "tools/synthetic/SceneDescription.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include <fmt/format.h>

#include "tools/json/JSONMember.h"

namespace geoloom::tools {
namespace {

Vector vectorOf(const JSONMember& member) {
  const std::vector<JSONMember> numbers = member.list();
  if (numbers.size() != 3)
    throw MalformedJSON(member.path() + " must be three numbers, metres along x, y and up");
  return {numbers[0].number(), numbers[1].number(), numbers[2].number()};
}

Vector targetOf(const JSONMember& look, const SceneDescription& scene) {
  if (!look.isString()) return vectorOf(look);
  const std::string name = look.string();
  for (const Board& board : scene.boards) {
    if (board.name == name) return board.centre;
  }
  throw MalformedJSON(fmt::format("{} names no board: \"{}\"", look.path(), name));
}

Wall wallOf(const JSONMember& member) {
  const std::string name = member.string();
  constexpr std::array names{"north", "east", "south", "west"};
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) throw MalformedJSON(member.path() + " must be north, east, south or west");
  return static_cast<Wall>(found - names.begin());
}

std::vector<JSONMember> listOf(const JSONMember& member) {
  return member.isPresent() ? member.list() : std::vector<JSONMember>{};
}

Change readChange(const JSONMember& c, const SceneDescription& scene) {
  const std::string name = c["name"].string();
  const bool isKnown = std::any_of(scene.furniture.begin(), scene.furniture.end(),
                                   [&](const PlacedFurniture& f) { return f.name == name; });
  if (!isKnown) throw MalformedJSON(fmt::format("{} names no furniture: \"{}\"", c["name"].path(), name));
  if (!c["at"].isPresent()) return {name, true};
  return {name, false, vectorOf(c["at"]), c["facing"].number()};
}

WalkDescription readWalk(const JSONMember& walk, const SceneDescription& scene) {
  WalkDescription result;
  result.name = walk["name"].string();
  for (const JSONMember& w : walk["waypoints"].list()) {
    const double seconds = result.waypoints.empty() ? 0 : w["seconds"].positive();
    result.waypoints.push_back({vectorOf(w["at"]), targetOf(w["look"], scene), seconds});
  }
  if (result.waypoints.size() < 2) throw MalformedJSON(walk.path() + ".waypoints must be two or more");
  for (const JSONMember& c : listOf(walk["changes"])) result.changes.push_back(readChange(c, scene));
  for (const JSONMember& p : listOf(walk["passersBy"]))
    result.passersBy.push_back(
        {p["model"].string(), vectorOf(p["from"]), vectorOf(p["to"]), p["seconds"].positive()});
  result.daylight = walk["daylight"].number(result.daylight);
  result.lamplight = walk["lamplight"].number(result.lamplight);
  result.turn = walk["frame"]["turn"].number(0);
  if (walk["frame"]["shift"].isPresent()) result.shift = vectorOf(walk["frame"]["shift"]);
  result.driftMetres = walk["drift"]["metres"].number(0);
  result.driftDegrees = walk["drift"]["degrees"].number(0);
  return result;
}

SceneDescription readScene(const JSONMember& scene) {
  if (scene["version"].number() != 1) throw MalformedJSON("version must be 1");
  SceneDescription result;
  result.room = vectorOf(scene["room"]["size"]);
  for (const double side : result.room) {
    if (!(side > 0)) throw MalformedJSON("room.size must be above 0");
  }
  result.seed = static_cast<unsigned>(std::abs(scene["room"]["seed"].number(0)));
  result.isFurnished = scene["furniture"].isPresent();
  for (const JSONMember& w : listOf(scene["windows"])) {
    result.windows.push_back({wallOf(w["wall"]), w["along"].number(0), w["width"].positive(),
                              w["sill"].number(), w["height"].positive()});
  }
  for (const JSONMember& f : listOf(scene["furniture"])) {
    result.furniture.push_back({f["name"].string(), f["class"].string(), f["model"].string(),
                                vectorOf(f["at"]), f["facing"].number(0)});
  }
  for (const JSONMember& b : listOf(scene["boards"])) {
    result.boards.push_back({b["name"].string(), b["photo"].string(), vectorOf(b["at"]), b["facing"].number(),
                             b["width"].isPresent() ? b["width"].positive() : Board{}.width,
                             !result.isFurnished});
  }
  for (const JSONMember& a : scene["assets"].list()) {
    result.assets.push_back({a["id"].string(), vectorOf(a["at"]), a["orientation"].number(0)});
  }
  for (const JSONMember& w : scene["walks"].list()) result.walks.push_back(readWalk(w, result));
  return result;
}

}  // namespace

SceneDescription SceneDescription::during(const WalkDescription& walk) const {
  SceneDescription scene = *this;
  for (const Change& change : walk.changes) {
    const auto thing = std::find_if(scene.furniture.begin(), scene.furniture.end(),
                                    [&](const PlacedFurniture& f) { return f.name == change.name; });
    if (thing == scene.furniture.end()) continue;
    if (change.isRemoved) {
      scene.furniture.erase(thing);
    } else {
      thing->at = change.at;
      thing->facing = change.facing;
    }
  }
  return scene;
}

base::Result<SceneDescription> parseScene(std::string_view json, const std::string& name) {
  return readJSON<SceneDescription>(json, name, readScene);
}

}  // namespace geoloom::tools
