#pragma once

#include <filesystem>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/synthetic/Renderer.h"
#include "tools/synthetic/SceneDescription.h"

namespace geoloom::tools {

/// Sizes of the room's furniture, one each, in metres: across, upwards and from front to back.
struct RoomMesh {
  Mesh mesh;
  std::vector<Lamp> lamps;
  std::vector<Vector> furnitureSizes;
  std::vector<Mesh> passersBy;  ///< each at the origin, its front towards -y
  std::vector<Vector> passersBySizes;
};

struct RoomSources {
  std::filesystem::path photos;     ///< folder of the boards' photographs
  std::filesystem::path furniture;  ///< folder of the catalogues
};

/// Everything of a room that is seen, and what lights it. The failure names the file or model that is
/// missing.
[[nodiscard]] base::Result<RoomMesh> roomMeshOf(const SceneDescription& scene, const WalkDescription& walk,
                                                const RoomSources& sources);

/// Where a wall's window is: its lower left corner as seen from within, and the direction to the right.
struct WallPlace {
  Vector corner;
  Vector right;
  Vector inwards;
};
[[nodiscard]] WallPlace placeOf(const Window& window, const Vector& room);

}  // namespace geoloom::tools
