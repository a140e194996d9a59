#include "tools/synthetic/SceneDescription.h"

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

Vector targetOf(const JSONMember& look, const std::vector<Board>& boards) {
  if (!look.isString()) return vectorOf(look);
  const std::string name = look.string();
  for (const Board& board : boards) {
    if (board.name == name) return board.centre;
  }
  throw MalformedJSON(fmt::format("{} names no board: \"{}\"", look.path(), name));
}

WalkDescription readWalk(const JSONMember& walk, const std::vector<Board>& boards) {
  WalkDescription result{walk["name"].string(), {}};
  for (const JSONMember& w : walk["waypoints"].list()) {
    const double seconds = result.waypoints.empty() ? 0 : w["seconds"].positive();
    result.waypoints.push_back({vectorOf(w["at"]), targetOf(w["look"], boards), seconds});
  }
  if (result.waypoints.size() < 2) throw MalformedJSON(walk.path() + ".waypoints must be two or more");
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
  for (const JSONMember& b : scene["boards"].list()) {
    result.boards.push_back({b["name"].string(), b["photo"].string(), vectorOf(b["at"]), b["facing"].number(),
                             b["width"].isPresent() ? b["width"].positive() : Board{}.width});
  }
  for (const JSONMember& a : scene["assets"].list()) {
    result.assets.push_back({a["id"].string(), vectorOf(a["at"]), a["orientation"].number(0)});
  }
  for (const JSONMember& w : scene["walks"].list()) result.walks.push_back(readWalk(w, result.boards));
  return result;
}

}  // namespace

base::Result<SceneDescription> parseScene(std::string_view json, const std::string& name) {
  return readJSON<SceneDescription>(json, name, readScene);
}

}  // namespace geoloom::tools
