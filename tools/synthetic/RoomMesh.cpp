#include "tools/synthetic/RoomMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <numbers>
#include <optional>

#include <fmt/format.h>

#include "tools/synthetic/Furniture.h"
#include "tools/synthetic/Random.h"
#include "tools/synthetic/ReadPicture.h"

namespace geoloom::tools {
namespace {

using base::Failure;
using base::Result;

constexpr Vector up{0, 0, 1};

Material textured(Texture texture) {
  Material material{{255, 255, 255}};
  material.texture = std::make_shared<const Texture>(std::move(texture));
  return material;
}

/// The sky over a garden, out of focus.
Material viewOutside(unsigned seed, double daylight) {
  constexpr std::size_t side = 256;
  Random random(seed);
  std::array<float, side> treeTop{};
  float level = 0.62F;
  for (float& top : treeTop) top = level += 0.02F * (random() - 0.5F);
  std::vector<Colour> texels;
  for (std::size_t y = 0; y < side; ++y) {
    for (std::size_t x = 0; x < side; ++x) {
      const float t = static_cast<float>(y) / side;
      const float wood = std::clamp((t - treeTop[x]) * 12, 0.0F, 1.0F);
      const float haze = 0.5F + 0.5F * t;
      texels.push_back({205 * haze + 50 - 130 * wood, 222 * haze + 33 - 90 * wood, 250 - 160 * wood});
    }
  }
  Material material = textured({std::move(texels), side});
  material.glow = static_cast<float>(1.8 * daylight + 0.01);
  return material;
}

/// Walls, floor and ceiling, seen from within.
void addShell(Mesh& mesh, const SceneDescription& scene) {
  constexpr std::array<Colour, 5> paints{
      {{226, 220, 208}, {206, 216, 212}, {222, 208, 196}, {214, 216, 226}, {232, 228, 222}}};
  constexpr std::array<Colour, 3> woods{{{168, 124, 84}, {130, 92, 62}, {186, 152, 112}}};
  const Material wall = textured(plasterTexture(scene.seed, paints[scene.seed % paints.size()]));
  const Material floor = textured(plankTexture(scene.seed + 1, woods[scene.seed % woods.size()]));
  const auto& [w, d, h] = scene.room;
  constexpr double metresPerTexture = 1.8;
  const auto repeat = [](double length) { return static_cast<float>(length / metresPerTexture); };
  const Vector down{0, 0, -h};
  mesh.addQuad({-w / 2, d / 2, h}, {w, 0, 0}, down, wall, repeat(w), repeat(h));
  mesh.addQuad({w / 2, d / 2, h}, {0, -d, 0}, down, wall, repeat(d), repeat(h));
  mesh.addQuad({w / 2, -d / 2, h}, {-w, 0, 0}, down, wall, repeat(w), repeat(h));
  mesh.addQuad({-w / 2, -d / 2, h}, {0, d, 0}, down, wall, repeat(d), repeat(h));
  mesh.addQuad({-w / 2, d / 2, 0}, {w, 0, 0}, {0, -d, 0}, floor, repeat(w), repeat(d));
  mesh.addQuad({-w / 2, -d / 2, h}, {w, 0, 0}, {0, d, 0}, Material{{240, 240, 236}});
  if (!scene.isFurnished) return;
  constexpr double skirting = 0.08;
  constexpr double thickness = 0.015;
  const Material paint{{238, 236, 230}};
  mesh.addBox({-w / 2, d / 2 - thickness, 0}, {w / 2, d / 2, skirting}, paint);
  mesh.addBox({-w / 2, -d / 2, 0}, {w / 2, -d / 2 + thickness, skirting}, paint);
  mesh.addBox({-w / 2, -d / 2, 0}, {-w / 2 + thickness, d / 2, skirting}, paint);
  mesh.addBox({w / 2 - thickness, -d / 2, 0}, {w / 2, d / 2, skirting}, paint);
}

/// The radiance of lamps of this area together, so that a room is about as bright whatever its size.
double radianceFor(const Vector& room, double area) {
  constexpr double brightness = 0.33;
  const auto& [w, d, h] = room;
  return brightness * 2 * (w * d + w * h + d * h) / area;
}

double areaOf(const std::vector<Window>& windows) {
  double area = 0;
  for (const Window& window : windows) area += window.width * window.height;
  return area;
}

void addWindow(RoomMesh& room, const SceneDescription& scene, const Window& window, double daylight) {
  const auto [corner, right, inwards] = placeOf(window, scene.room);
  constexpr double offWall = 0.01;
  const Vector upperLeft = corner + window.height * up + offWall * inwards;
  const Vector across = window.width * right;
  const Vector down = -window.height * up;
  room.mesh.addQuad(upperLeft, across, down, viewOutside(scene.seed + 17, daylight));
  constexpr double offFrame = 0.06;  // before the bars, whose shadows would be stripes
  const double radiance = daylight * radianceFor(scene.room, areaOf(scene.windows));
  room.lamps.push_back({upperLeft + offFrame * inwards, across, down, radiance * Vector{0.94, 1, 1.08}});

  const Material frame{{246, 246, 244}};
  constexpr double bar = 0.06;
  constexpr double depth = 0.05;
  const auto addBar = [&, corner = corner, right = right, inwards = inwards](
                          double left, double bottom, double width, double height, double out) {
    const Vector low = corner + left * right + bottom * up;
    const Vector high = low + width * right + height * up + out * inwards;
    Vector a;
    Vector b;
    for (std::size_t i = 0; i < 3; ++i) {
      a[i] = std::min(low[i], high[i]);
      b[i] = std::max(low[i], high[i]);
    }
    room.mesh.addBox(a, b, frame);
  };
  addBar(-bar, -bar, bar, window.height + 2 * bar, depth);
  addBar(window.width, -bar, bar, window.height + 2 * bar, depth);
  addBar(0, window.height, window.width, bar, depth);
  addBar(-2 * bar, -bar, window.width + 4 * bar, bar, 0.16);  // the sill
  addBar(window.width / 2 - bar / 2, 0, bar, window.height, depth);
  addBar(0, window.height * 0.68, window.width, 0.035, depth);
}

void addCeilingLamp(RoomMesh& room, const SceneDescription& scene, double lamplight) {
  constexpr double side = 0.5;
  const Vector corner{-side / 2, -side / 2, scene.room[2] - 0.06};
  const Vector right{side, 0, 0};
  const Vector down{0, side, 0};
  Material shade{{255, 244, 226}};
  shade.glow = static_cast<float>(std::max(0.4, 2.5 * lamplight));
  room.mesh.addBox(corner, {side / 2, side / 2, scene.room[2]}, shade);
  if (lamplight > 0)
    room.lamps.push_back({corner - 0.01 * up, right, down,
                          lamplight * radianceFor(scene.room, side * side) * Vector{1.12, 1, 0.8}});
}

/// The photograph, the back of the board and the foot it stands on.
void addBoard(Mesh& mesh, const Board& board, const platform::PNGImage& photo) {
  const double angle = board.facing * std::numbers::pi / 180;
  const Vector front{std::cos(angle), std::sin(angle), 0};
  const Vector right{-front[1], front[0], 0};
  const double height = board.width * static_cast<double>(photo.height) / static_cast<double>(photo.width);
  const double thickness = 0.006;
  const Vector corner = board.centre - (board.width / 2) * right + (height / 2) * up;
  const Vector back = corner + board.width * right - thickness * front;
  mesh.addQuad(corner, board.width * right, -height * up, textured(Texture(photo)));
  mesh.addQuad(back, -board.width * right, -height * up, Material{{120, 98, 72}});
  if (!board.hasFoot) return;
  constexpr double footWidth = 0.05;
  const double lowerEdge = board.centre[2] - height / 2;
  const Vector foot = board.centre - (footWidth / 2) * right - thickness * front;
  mesh.addQuad({foot[0], foot[1], lowerEdge}, footWidth * right, -lowerEdge * up, Material{{70, 62, 55}});
}

/// From the model's frame, whose front looks along -y, to the room's.
void addPlaced(Mesh& room, Mesh model, const PlacedFurniture& placed) {
  const double angle = (placed.facing + 90) * std::numbers::pi / 180;
  const auto c = static_cast<float>(std::cos(angle));
  const auto s = static_cast<float>(std::sin(angle));
  for (auto* vectors : {&model.positions, &model.normals}) {
    for (auto& v : *vectors) v = {c * v[0] - s * v[1], s * v[0] + c * v[1], v[2]};
  }
  for (auto& p : model.positions) {
    for (std::size_t axis = 0; axis < 3; ++axis) p[axis] += static_cast<float>(placed.at[axis]);
  }
  room.add(model);
}

/// Furniture, and the people who pass by.
std::optional<Failure> addModels(RoomMesh& room, const SceneDescription& scene, const WalkDescription& walk,
                                 const std::filesystem::path& folder) {
  const auto catalogue = FurnitureCatalogue::read(folder);
  if (!catalogue) return catalogue.failure();
  std::map<std::string, Mesh> loaded;
  const auto load = [&](const std::string& id) -> Result<const FurnitureModel*> {
    const FurnitureModel* model = catalogue->find(id);
    if (model == nullptr)
      return Failure{fmt::format("there is no furniture model \"{}\" in {}", id, folder.string())};
    if (!loaded.contains(id)) {
      auto mesh = loadFurniture(*model);
      if (!mesh) return mesh.failure();
      loaded[id] = *std::move(mesh);
    }
    return model;
  };
  for (const PlacedFurniture& placed : scene.furniture) {
    const auto model = load(placed.model);
    if (!model) return model.failure();
    addPlaced(room.mesh, loaded[placed.model], placed);
    room.furnitureSizes.push_back((*model)->size);
  }
  for (const PasserBy& person : walk.passersBy) {
    const auto model = load(person.model);
    if (!model) return model.failure();
    room.passersBy.push_back(loaded[person.model]);
    room.passersBySizes.push_back((*model)->size);
  }
  return std::nullopt;
}

}  // namespace

WallPlace placeOf(const Window& window, const Vector& room) {
  const auto& [w, d, h] = room;
  const auto at = [&](const Vector& middle, const Vector& right) {
    return WallPlace{middle + (window.along - window.width / 2) * right + window.sill * up, right,
                     cross(right, up)};
  };
  switch (window.wall) {
    case Wall::north:
      return at({0, d / 2, 0}, {1, 0, 0});
    case Wall::east:
      return at({w / 2, 0, 0}, {0, -1, 0});
    case Wall::south:
      return at({0, -d / 2, 0}, {-1, 0, 0});
    default:
      return at({-w / 2, 0, 0}, {0, 1, 0});
  }
}

Result<RoomMesh> roomMeshOf(const SceneDescription& scene, const WalkDescription& walk,
                            const RoomSources& sources) {
  RoomMesh room;
  addShell(room.mesh, scene);
  for (const Window& window : scene.windows) addWindow(room, scene, window, walk.daylight);
  if (scene.isFurnished) addCeilingLamp(room, scene, walk.lamplight);
  if (room.lamps.empty()) {  // a room without windows: light from the whole ceiling
    const auto& [w, d, h] = scene.room;
    room.lamps.push_back({{-w / 2, -d / 2, h - 0.02}, {w, 0, 0}, {0, d, 0}, {0.9, 0.9, 0.9}});
  }
  for (const Board& board : scene.boards) {
    const auto photo = readPicture(sources.photos / board.photo);
    if (!photo) return Failure{photo.failure().message + "; scripts/setup fetches the photographs"};
    addBoard(room.mesh, board, *photo);
  }
  if (!scene.furniture.empty() || !walk.passersBy.empty()) {
    if (auto failure = addModels(room, scene, walk, sources.furniture)) return *failure;
  }
  return room;
}

}  // namespace geoloom::tools
