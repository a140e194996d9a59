#include "tools/synthetic/FurnitureViews.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include <fmt/format.h>

#include "tools/synthetic/CameraPath.h"
#include "tools/synthetic/Renderer.h"

namespace geoloom::tools {

base::Result<std::vector<platform::PNGImage>> picturesAround(const std::string& model,
                                                             const RoomSources& sources) {
  const auto catalogue = FurnitureCatalogue::read(sources.furniture);
  if (!catalogue) return catalogue.failure();
  const FurnitureModel* found = catalogue->find(model);
  if (found == nullptr) return base::Failure{fmt::format("there is no furniture model \"{}\"", model)};

  constexpr Pinhole camera{480, 480, 525, 239.5, 239.5};
  constexpr double share = 0.6;  // of the picture that the model's diagonal fills
  constexpr double elevation = 15 * std::numbers::pi / 180;
  const auto& [width, height, depth] = found->size;
  const double distance = camera.focal * std::hypot(width, height, depth) / (share * camera.width);
  const double side = std::max(4.0, 2 * distance + 1);
  SceneDescription scene;
  scene.isFurnished = true;
  scene.room = {side, side, std::max(2.6, 2 * height)};
  scene.windows = {{Wall::north, 0, side / 3}, {Wall::east, 0, side / 3}};
  scene.furniture = {{"it", "", model, {}, -90}};
  const auto room = roomMeshOf(scene, {}, sources);
  if (!room) return room.failure();
  const Vector middle{0, 0, height / 2};
  const Renderer renderer(room->mesh, room->lamps);
  std::vector<platform::PNGImage> pictures;
  for (int i = 0; i < 8; ++i) {
    const double heading = i * std::numbers::pi / 4;
    const Vector away{std::cos(elevation) * std::cos(heading), std::cos(elevation) * std::sin(heading),
                      std::sin(elevation)};
    pictures.push_back(renderer.render(camera, lookingAt(middle + distance * away, middle)).colours);
  }
  return pictures;
}

}  // namespace geoloom::tools
