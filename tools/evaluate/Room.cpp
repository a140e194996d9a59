#include "tools/evaluate/Room.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace geoloom::tools::evaluation {
namespace {

constexpr double QUARTER = std::numbers::pi / 2;
constexpr double TABLE_HEIGHT = 0.75;

double radiusOf(const ObjectClass& kind) {
  return std::hypot(kind.size[0], kind.size[1]) / 2;
}

bool isFree(const Room& room, const RoomObject& object) {
  return std::none_of(room.objects.begin(), room.objects.end(), [&](const RoomObject& other) {
    const double apart = localcloud::groundDistance(other.middle, object.middle);
    const bool isOnTable = other.kind.standsOnTable != object.kind.standsOnTable;
    return apart < (isOnTable ? 0.15 : 0.75 * (radiusOf(other.kind) + radiusOf(object.kind)) + 0.05);
  });
}

/// Along a wall, its back to it; or, a third of the time, free in the room.
void standOnFloor(const Room& room, RoomObject& object, Chance& chance) {
  object.middle.y = object.kind.size[2] / 2;
  const double margin = object.kind.size[1] / 2 + 0.05;
  if (chance.with(0.33)) {
    object.middle.x = chance.uniform(-0.3, 0.3) * room.width;
    object.middle.z = chance.uniform(-0.3, 0.3) * room.depth;
    object.turn = chance.uniform(0, 4 * QUARTER);
    return;
  }
  const bool alongX = chance.with(room.width / (room.width + room.depth));
  const double side = chance.with(0.5) ? 1 : -1;
  const double along = chance.uniform(-0.5, 0.5);
  object.middle.x = alongX ? along * (room.width - 2 * margin) : side * (room.width / 2 - margin);
  object.middle.z = alongX ? side * (room.depth / 2 - margin) : along * (room.depth - 2 * margin);
  object.turn = alongX ? 0 : QUARTER;
}

/// On one of the room's tables, or on a shelf of that height along a wall.
void standOnTable(const Room& room, RoomObject& object, Chance& chance) {
  std::vector<const RoomObject*> tables;
  for (const RoomObject& other : room.objects) {
    if (other.name == "dining table") tables.push_back(&other);
  }
  if (tables.empty() || chance.with(0.3)) {
    standOnFloor(room, object, chance);
    object.middle.y += chance.with(0.7) ? TABLE_HEIGHT : chance.uniform(0.3, 1.3);
    return;
  }
  const RoomObject& table = *chance.of(tables);
  const double across = chance.uniform(-0.4, 0.4) * table.kind.size[0];
  const double along = chance.uniform(-0.4, 0.4) * table.kind.size[1];
  object.middle = {table.middle.x + across * std::cos(table.turn) + along * std::sin(table.turn),
                   TABLE_HEIGHT + object.kind.size[2] / 2,
                   table.middle.z - across * std::sin(table.turn) + along * std::cos(table.turn)};
  object.turn = chance.uniform(0, 4 * QUARTER);
}

void hang(const Room& room, RoomObject& object, Chance& chance) {
  standOnFloor(room, object, chance);
  object.middle.y = chance.uniform(0.8, 1.6);
}

bool placeAnywhere(const Room& room, RoomObject& object, Furnishing furnishing, Chance& chance) {
  for (int attempt = 0; attempt < 200; ++attempt) {
    if (furnishing == Furnishing::boards)
      hang(room, object, chance);
    else
      object.kind.standsOnTable ? standOnTable(room, object, chance) : standOnFloor(room, object, chance);
    if (isFree(room, object)) return true;
  }
  return false;
}

void add(Room& room, const NoiseModel& noise, const std::string& name, Furnishing furnishing,
         Chance& chance) {
  const bool isBoard = furnishing == Furnishing::boards;
  RoomObject object{
      .name = name, .kind = isBoard ? noise.board : noise.classes.at(name), .middle = {}, .turn = 0};
  if (placeAnywhere(room, object, furnishing, chance)) room.objects.push_back(object);
}

void addTwin(Room& room) {
  RoomObject twin = room.objects.back();
  twin.middle.x = -twin.middle.x;
  twin.middle.z = -twin.middle.z;
  if (isFree(room, twin))
    room.objects.push_back(twin);
  else
    room.objects.pop_back();
}

Room emptyRoom(const NoiseModel& noise, Chance& chance) {
  Room room;
  room.width = chance.uniform(3.2, 6.5);
  room.depth = chance.uniform(3, 5.5);
  const auto ghosts = static_cast<std::size_t>(noise.ghostSpots);
  for (std::size_t i = 0; i < ghosts; ++i) {
    RoomObject ghost{.name = chance.of(noise.ghostNames), .kind = {}, .middle = {}, .turn = 0};
    hang(room, ghost, chance);
    room.ghosts.push_back(ghost);
  }
  for (int i = 0; i < 3; ++i)
    room.assets.push_back({chance.uniform(-0.4, 0.4) * room.width, chance.uniform(0, 1.5),
                           chance.uniform(-0.4, 0.4) * room.depth});
  return room;
}

/// Classes as rooms have them: a table and its chairs, a few large things, small things.
std::vector<std::string> classesOf(const NoiseModel& noise, std::size_t count, Chance& chance) {
  std::vector<std::string> large;
  std::vector<std::string> small;
  for (const auto& [name, kind] : noise.classes) (kind.standsOnTable ? small : large).push_back(name);
  std::vector<std::string> chosen;
  if (count >= 5) chosen = {"dining table", "chair"};
  while (chosen.size() < count) {
    const std::string& name = chance.of(chance.with(0.5) ? large : small);
    const auto same = std::count(chosen.begin(), chosen.end(), name);
    const bool isRepeated = name == "chair" || name == "cup" || name == "bottle" || name == "book";
    if (same == 0 || (isRepeated && count >= 5 && same < 4)) chosen.push_back(name);
  }
  return chosen;
}

std::vector<std::string> boardsOf(const NoiseModel& noise, std::size_t count, Chance& chance) {
  std::vector<std::string> names = noise.boardNames;
  while (names.size() > count)
    names.erase(names.begin() + static_cast<std::ptrdiff_t>(chance.below(names.size())));
  return names;
}

}  // namespace

Room makeRoom(const NoiseModel& noise, Furnishing furnishing, std::size_t count, Chance& chance) {
  Room room = emptyRoom(noise, chance);
  const bool isSymmetric = furnishing == Furnishing::symmetric;
  const auto names = furnishing == Furnishing::boards
                         ? boardsOf(noise, count, chance)
                         : classesOf(noise, isSymmetric ? count / 2 : count, chance);
  for (const std::string& name : names) {
    const std::size_t before = room.objects.size();
    add(room, noise, name, furnishing, chance);
    if (isSymmetric && room.objects.size() > before) addTwin(room);
  }
  if (isSymmetric) room.ghosts.clear();
  return room;
}

Room refurnish(const NoiseModel& noise, const Room& room, Furnishing furnishing, Chance& chance) {
  Room other = emptyRoom(noise, chance);
  for (const RoomObject& object : room.objects) add(other, noise, object.name, furnishing, chance);
  return other;
}

void moveObjects(Room& room, std::size_t count, Chance& chance) {
  for (std::size_t i = 0; i < std::min(count, room.objects.size()); ++i) {
    RoomObject object = room.objects.front();
    room.objects.erase(room.objects.begin());
    const Point before = object.middle;
    for (int attempt = 0; attempt < 100; ++attempt) {
      const double angle = chance.uniform(0, 4 * QUARTER);
      const double far = chance.uniform(0.6, 2);
      object.middle = {before.x + far * std::cos(angle), before.y, before.z + far * std::sin(angle)};
      if (std::abs(object.middle.x) < room.width / 2 - 0.2 &&
          std::abs(object.middle.z) < room.depth / 2 - 0.2 && isFree(room, object))
        break;
    }
    room.objects.push_back(object);
  }
}

void crowd(const NoiseModel& noise, Room& room, std::size_t count, Chance& chance) {
  std::vector<std::string> names;
  for (const auto& [name, kind] : noise.classes) names.push_back(name);
  for (std::size_t i = 0; i < count; ++i) add(room, noise, chance.of(names), Furnishing::furniture, chance);
}

}  // namespace geoloom::tools::evaluation
