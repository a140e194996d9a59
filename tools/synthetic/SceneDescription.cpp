#include "tools/synthetic/SceneDescription.h"

#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::tools {
namespace {

using platform::JSON;

/// What is wrong with a description; does not leave this file.
class Malformed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One value of the description together with its place, for messages like "boards[2].at".
class Member {
 public:
  Member(std::optional<JSON> value, std::string path) : value_(std::move(value)), path_(std::move(path)) {}

  [[nodiscard]] Member operator[](const char* key) const {
    return {value_ ? (*value_)[key] : std::nullopt, path_.empty() ? key : fmt::format("{}.{}", path_, key)};
  }
  [[nodiscard]] bool isPresent() const { return value_.has_value(); }

  [[nodiscard]] std::string string() const {
    return need(value_ ? value_->string() : std::nullopt, "a text");
  }
  [[nodiscard]] double number() const { return need(value_ ? value_->number() : std::nullopt, "a number"); }
  [[nodiscard]] double number(double absent) const { return isPresent() ? number() : absent; }
  [[nodiscard]] double positive() const {
    const double n = number();
    if (!(n > 0)) throw Malformed(path_ + " must be above 0");
    return n;
  }

  [[nodiscard]] std::vector<Member> list() const {
    if (!value_ || value_->type() != JSON::Type::array) throw Malformed(path_ + " must be a list");
    std::vector<Member> members;
    value_->forEach([&](const JSON& element) {
      members.emplace_back(element, fmt::format("{}[{}]", path_, members.size()));
    });
    return members;
  }

  [[nodiscard]] Vector vector() const {
    const std::vector<Member> numbers = list();
    if (numbers.size() != 3) throw Malformed(path_ + " must be three numbers, metres along x, y and up");
    return {numbers[0].number(), numbers[1].number(), numbers[2].number()};
  }

  [[nodiscard]] bool isString() const { return value_ && value_->type() == JSON::Type::string; }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  template <class T>
  [[nodiscard]] T need(std::optional<T> read, const char* what) const {
    if (!read) throw Malformed(fmt::format("{} must be {}", path_, what));
    return *std::move(read);
  }

  std::optional<JSON> value_;
  std::string path_;
};

Vector targetOf(const Member& look, const std::vector<Board>& boards) {
  if (!look.isString()) return look.vector();
  const std::string name = look.string();
  for (const Board& board : boards) {
    if (board.name == name) return board.centre;
  }
  throw Malformed(fmt::format("{} names no board: \"{}\"", look.path(), name));
}

WalkDescription readWalk(const Member& walk, const std::vector<Board>& boards) {
  WalkDescription result{walk["name"].string(), {}};
  for (const Member& w : walk["waypoints"].list()) {
    const double seconds = result.waypoints.empty() ? 0 : w["seconds"].positive();
    result.waypoints.push_back({w["at"].vector(), targetOf(w["look"], boards), seconds});
  }
  if (result.waypoints.size() < 2) throw Malformed(walk.path() + ".waypoints must be two or more");
  return result;
}

SceneDescription readScene(const Member& scene) {
  if (scene["version"].number() != 1) throw Malformed("version must be 1");
  SceneDescription result;
  result.room = scene["room"]["size"].vector();
  for (const double side : result.room) {
    if (!(side > 0)) throw Malformed("room.size must be above 0");
  }
  result.seed = static_cast<unsigned>(std::abs(scene["room"]["seed"].number(0)));
  for (const Member& b : scene["boards"].list()) {
    result.boards.push_back({b["name"].string(), b["photo"].string(), b["at"].vector(), b["facing"].number(),
                             b["width"].isPresent() ? b["width"].positive() : Board{}.width});
  }
  for (const Member& a : scene["assets"].list()) {
    result.assets.push_back({a["id"].string(), a["at"].vector(), a["orientation"].number(0)});
  }
  for (const Member& w : scene["walks"].list()) result.walks.push_back(readWalk(w, result.boards));
  return result;
}

}  // namespace

platform::Result<SceneDescription> parseScene(std::string_view json, const std::string& name) {
  const std::optional<JSON> value = JSON::parse(json);
  if (!value) return platform::Failure{name + ": is not JSON"};
  try {
    return readScene(Member(value, ""));
  } catch (const Malformed& what) {
    return platform::Failure{fmt::format("{}: {}", name, what.what())};
  }
}

}  // namespace geoloom::tools
