#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/synthetic/Vector.h"

namespace geoloom::tools {

/// A photograph on a board that stands upright in the room. World coordinates: metres, z up, the floor at 0.
struct Board {
  std::string name;
  std::filesystem::path photo;  ///< relative to the folder of photographs
  Vector centre{};
  double facing = 0;  ///< where its front looks, degrees from +x towards +y
  double width = 0.6;
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

struct WalkDescription {
  std::string name;
  std::vector<Waypoint> waypoints;
};

/// A room with its boards, its assets and the walks through it (docs/recordings.md).
struct SceneDescription {
  Vector room{};  ///< width along x, depth along y, height; centred on the origin
  unsigned seed = 0;
  std::vector<Board> boards;
  std::vector<SceneAsset> assets;
  std::vector<WalkDescription> walks;
};

/// Reads a description; `name` stands at the front of what is wrong with it.
[[nodiscard]] base::Result<SceneDescription> parseScene(std::string_view json, const std::string& name);

/// The room of the demonstration, as text.
[[nodiscard]] std::string_view defaultScene();

}  // namespace geoloom::tools
