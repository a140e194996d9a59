#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/synthetic/Vector.h"

/// A room as data (docs/rooms.md). World coordinates: metres, z up, the floor at 0, the origin in its middle;
/// headings are degrees from +x towards +y.
namespace geoloom::tools {

/// A photograph on a board that stands upright in the room.
struct Board {
  std::string name;
  std::filesystem::path photo;  ///< relative to the folder of photographs
  Vector centre{};
  double facing = 0;  ///< where its front looks
  double width = 0.6;
  bool hasFoot = true;  ///< stands on the floor; else it hangs on a wall
};

enum class Wall { north, east, south, west };  ///< at +y, +x, -y, -x

struct Window {
  Wall wall = Wall::north;
  double along = 0;  ///< of its middle from that of the wall, to the right as seen from within
  double width = 1.4;
  double sill = 0.9;
  double height = 1.3;
};

struct PlacedFurniture {
  std::string name;   ///< of this one thing
  std::string type;   ///< what a detector should call it
  std::string model;  ///< of the catalogue
  Vector at{};        ///< the middle of its bottom
  double facing = 0;
};

/// Something that an application would put into the room; it is not drawn.
struct SceneAsset {
  std::string id;
  Vector position{};
  double orientation = 0;  ///< radians about the vertical
};

/// The camera passes `position`, looking at `target`, `seconds` after the waypoint before.
struct Waypoint {
  Vector position{};
  Vector target{};
  double seconds = 0;
};

/// What is otherwise in one walk: a thing that stands elsewhere or is gone.
struct Change {
  std::string name;
  bool isRemoved = false;
  Vector at{};
  double facing = 0;
};

/// A person who goes to and fro on a straight way.
struct PasserBy {
  std::string model;
  Vector from{};
  Vector to{};
  double seconds = 0;  ///< one way
};

struct WalkDescription {
  std::string name;
  std::vector<Waypoint> waypoints;
  std::vector<Change> changes;
  std::vector<PasserBy> passersBy;
  double daylight = 1;   ///< through the windows
  double lamplight = 0;  ///< from the ceiling
  /// The recording's frame: the room's, turned by `turn` (degrees) about the vertical, then moved.
  double turn = 0;
  Vector shift{};
  /// What recorded poses gather by the minute: metres and degrees.
  double driftMetres = 0;
  double driftDegrees = 0;
};

struct SceneDescription {
  Vector room{};  ///< width along x, depth along y, height
  unsigned seed = 0;
  bool isFurnished = false;  ///< has depth noise, skirting boards and a lamp at the ceiling
  std::vector<Window> windows;
  std::vector<PlacedFurniture> furniture;
  std::vector<Board> boards;
  std::vector<SceneAsset> assets;
  std::vector<WalkDescription> walks;

  /// The room as one of its walks finds it. Names of changes that name no furniture are ignored.
  [[nodiscard]] SceneDescription during(const WalkDescription& walk) const;
};

/// Reads a description; `name` stands at the front of what is wrong with it.
[[nodiscard]] base::Result<SceneDescription> parseScene(std::string_view json, const std::string& name);

}  // namespace geoloom::tools
