#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/synthetic/Texture.h"
#include "tools/synthetic/Vector.h"

namespace geoloom::tools {

struct Material {
  Colour colour{200, 200, 200};
  std::shared_ptr<const Texture> texture = nullptr;  ///< multiplies the colour; may be null
  float opacity = 1;
  float glow = 0;  ///< light that it sends out by itself, as a multiple of its colour
};

/// Triangles. `positions`, `normals` and `uvs` have three entries each; texture rows count from the top.
struct Mesh {
  std::vector<std::array<float, 3>> positions;
  std::vector<std::array<float, 3>> normals;
  std::vector<std::array<float, 2>> uvs;
  std::vector<std::uint32_t> materialOf;  ///< one a triangle
  std::vector<Material> materials;

  [[nodiscard]] std::size_t triangleCount() const { return materialOf.size(); }
  void add(const Mesh& other);
  /// A parallelogram; `front` is the side its normal shows to: right x down points into it.
  void addQuad(const Vector& corner, const Vector& right, const Vector& down, const Material& material,
               float repeatRight = 1, float repeatDown = 1);
  /// A box with faces along the axes, seen from outside.
  void addBox(const Vector& low, const Vector& high, const Material& material);
};

/// One model of the catalogue, in metres: its size across, upwards and from front to back.
struct FurnitureModel {
  std::string id;
  std::string name;
  std::filesystem::path file;
  Vector size{};
  double elevation = 0;  ///< of its bottom above the floor where it stands by itself
  std::array<double, 9> rotation{1, 0, 0, 0, 1, 0, 0, 0, 1};  ///< rows, applied to the file's vertices
};

/// The furniture models that scripts/setup unpacks: folders with a catalogue of properties each.
class FurnitureCatalogue {
 public:
  [[nodiscard]] static base::Result<FurnitureCatalogue> read(const std::filesystem::path& folder);

  /// Null for an unknown identifier, such as "Scopia#cup".
  [[nodiscard]] const FurnitureModel* find(const std::string& id) const;
  [[nodiscard]] std::size_t size() const { return models_.size(); }

 private:
  std::map<std::string, FurnitureModel> models_;
};

/// The model's triangles in its own frame: x to the right of one who looks out of its front, y backwards, z
/// up; its bottom in the middle of the origin. The front looks along -y.
[[nodiscard]] base::Result<Mesh> loadFurniture(const FurnitureModel& model);

}  // namespace geoloom::tools
