#pragma once

#include <string>
#include <vector>

#include "localcloud/matching/Sighting.h"
#include "tools/evaluate/Chance.h"
#include "tools/evaluate/NoiseModel.h"

namespace geoloom::tools::evaluation {

using localcloud::Point;

/// An object in a room: metres, y up, the floor at 0, the middle of the floor at the origin.
struct RoomObject {
  std::string name;
  ObjectClass kind;
  Point middle;
  double turn = 0;  ///< of its width against the x axis, radians
};

struct Room {
  double width = 0;  ///< along x
  double depth = 0;  ///< along z
  std::vector<RoomObject> objects;
  std::vector<RoomObject> ghosts;  ///< places that look like an object now and then
  std::vector<Point> assets;
};

enum class Furnishing {
  furniture,  ///< chairs at tables, small things on tables, the rest along the walls
  boards,     ///< pictures on the walls: flat things, each of another class
  symmetric   ///< furniture of which every piece has a twin on the opposite side of the room
};

/// A room with `count` objects and three assets.
[[nodiscard]] Room makeRoom(const NoiseModel& noise, Furnishing furnishing, std::size_t count,
                            Chance& chance);

/// Another room with objects of the same classes.
[[nodiscard]] Room refurnish(const NoiseModel& noise, const Room& room, Furnishing furnishing,
                             Chance& chance);

/// Carries `count` objects to other places.
void moveObjects(Room& room, std::size_t count, Chance& chance);

/// Things that stand around besides: many objects of the room's own classes and others.
void crowd(const NoiseModel& noise, Room& room, std::size_t count, Chance& chance);

}  // namespace geoloom::tools::evaluation
