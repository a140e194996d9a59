#include "tools/synthetic/Furniture.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <limits>
#include <sstream>

#include <fmt/format.h>
#include <tiny_obj_loader.h>

#include "geoloom/base/ReadFile.h"

#include "tools/synthetic/ReadPicture.h"

namespace geoloom::tools {
namespace {

using base::Failure;
using base::Result;
using Float3 = std::array<float, 3>;

Float3 toFloat(const Vector& v) {
  return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

/// The properties of one catalogue, "key#number=value" a line.
std::map<std::string, std::string> propertiesOf(const std::string& text) {
  std::map<std::string, std::string> properties;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const std::size_t equals = line.find('=');
    if (!line.starts_with('#') && equals != std::string::npos)
      properties[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return properties;
}

void readCatalogue(const std::filesystem::path& folder, const std::string& text,
                   std::map<std::string, FurnitureModel>& models) {
  const std::map<std::string, std::string> properties = propertiesOf(text);
  const auto property = [&](const char* key, const std::string& number) {
    const auto found = properties.find(key + number);
    return found == properties.end() ? std::string() : found->second;
  };
  constexpr double metres = 0.01;
  for (const auto& [key, id] : properties) {
    if (!key.starts_with("id#")) continue;
    const std::string number = key.substr(2);
    const auto length = [&](const char* name) {
      return metres * std::strtod(property(name, number).c_str(), nullptr);
    };
    FurnitureModel model;
    model.id = id;
    model.name = property("name", number);
    model.file = folder / property("model", number).erase(0, 1);
    model.size = {length("width"), length("height"), length("depth")};
    model.elevation = length("elevation");
    std::istringstream rotation(property("modelRotation", number));
    for (double value = 0; double& r : model.rotation) {
      if (rotation >> value) r = value;
    }
    models.emplace(id, std::move(model));
  }
}

/// What the file's vertices become in the model's frame: turned as the catalogue says, then stretched to its
/// size.
class Fit {
 public:
  Fit(const FurnitureModel& model, const std::vector<tinyobj::real_t>& vertices) : model_(model) {
    low_.fill(std::numeric_limits<double>::max());
    Vector high;
    high.fill(std::numeric_limits<double>::lowest());
    for (std::size_t i = 0; i + 2 < vertices.size(); i += 3) {
      const Vector v = turned(&vertices[i]);
      for (std::size_t axis = 0; axis < 3; ++axis) {
        low_[axis] = std::min(low_[axis], v[axis]);
        high[axis] = std::max(high[axis], v[axis]);
      }
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const double extent = high[axis] - low_[axis];
      scale_[axis] = extent > 1e-9 ? model.size[axis] / extent : 1;
    }
  }

  [[nodiscard]] Float3 position(const tinyobj::real_t* v) const {
    const Vector t = turned(v) - low_;
    const Vector s{scale_[0] * t[0] - model_.size[0] / 2, scale_[1] * t[1],
                   scale_[2] * t[2] - model_.size[2] / 2};
    return toFloat({s[0], -s[2], s[1]});
  }

  [[nodiscard]] Float3 normal(const tinyobj::real_t* n) const {
    const Vector t = turned(n);
    return toFloat({t[0] / scale_[0], -t[2] / scale_[2], t[1] / scale_[1]});
  }

 private:
  [[nodiscard]] Vector turned(const tinyobj::real_t* v) const {
    const Vector in{static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2])};
    const auto& r = model_.rotation;
    return {dot({r[0], r[1], r[2]}, in), dot({r[3], r[4], r[5]}, in), dot({r[6], r[7], r[8]}, in)};
  }

  const FurnitureModel& model_;
  Vector low_{};
  Vector scale_{};
};

std::string trimmed(const std::string& text) {
  const auto isSpace = [](unsigned char c) { return std::isspace(c) != 0; };
  const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
  const auto last = std::find_if_not(text.rbegin(), text.rend(), isSpace).base();
  return first < last ? std::string(first, last) : std::string();
}

/// A model's texture. If its file is missing, the only picture in the folder: some models name a path on the
/// machine they were made on.
std::shared_ptr<const Texture> textureOf(const std::filesystem::path& folder, const std::string& name) {
  auto picture = readPicture(folder / name);
  std::vector<platform::PNGImage> others;
  std::error_code ignored;
  if (!picture) {
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
      if (auto other = readPicture(entry.path())) others.push_back(*std::move(other));
    }
    if (others.size() == 1) picture = std::move(others.front());
  }
  return picture ? std::make_shared<const Texture>(*picture) : nullptr;
}

std::vector<Material> materialsOf(const std::vector<tinyobj::material_t>& read,
                                  const std::filesystem::path& folder) {
  std::map<std::string, std::shared_ptr<const Texture>> textures;
  std::vector<Material> materials;
  for (const tinyobj::material_t& m : read) {
    Material material;
    const std::string name = trimmed(m.diffuse_texname);
    if (!name.empty() && !textures.contains(name)) {
      textures[name] = textureOf(folder, name);
    }
    const auto channel = [&m](int c) {
      // The library reads linear values; pictures and this colour are meant for the screen alike.
      return 255 * static_cast<float>(m.diffuse[c]);
    };
    material.colour = {channel(0), channel(1), channel(2)};
    if (!name.empty() && textures[name]) {
      material.texture = textures[name];
      const bool isDark = material.colour.red + material.colour.green + material.colour.blue < 100;
      if (isDark) material.colour = {255, 255, 255};  // programs that ignore it wrote such files
    }
    material.opacity = static_cast<float>(m.dissolve);
    materials.push_back(std::move(material));
  }
  if (materials.empty()) materials.emplace_back();
  return materials;
}

}  // namespace

void Mesh::add(const Mesh& other) {
  const auto offset = static_cast<std::uint32_t>(materials.size());
  positions.insert(positions.end(), other.positions.begin(), other.positions.end());
  normals.insert(normals.end(), other.normals.begin(), other.normals.end());
  uvs.insert(uvs.end(), other.uvs.begin(), other.uvs.end());
  for (const std::uint32_t m : other.materialOf) materialOf.push_back(m + offset);
  materials.insert(materials.end(), other.materials.begin(), other.materials.end());
}

void Mesh::addQuad(const Vector& corner, const Vector& right, const Vector& down, const Material& material,
                   float repeatRight, float repeatDown) {
  const auto index = static_cast<std::uint32_t>(materials.size());
  materials.push_back(material);
  const Float3 normal = toFloat(normalized(cross(down, right)));
  const std::array<Vector, 4> corners{corner, corner + right, corner + right + down, corner + down};
  const std::array<std::array<float, 2>, 4> places{
      {{0, 0}, {repeatRight, 0}, {repeatRight, repeatDown}, {0, repeatDown}}};
  for (const std::array<std::size_t, 3>& triangle : {std::array<std::size_t, 3>{0, 3, 2}, {0, 2, 1}}) {
    for (const std::size_t i : triangle) {
      positions.push_back(toFloat(corners[i]));
      normals.push_back(normal);
      uvs.push_back(places[i]);
    }
    materialOf.push_back(index);
  }
}

void Mesh::addBox(const Vector& low, const Vector& high, const Material& material) {
  const Vector size = high - low;
  const Vector x{size[0], 0, 0};
  const Vector y{0, size[1], 0};
  const Vector z{0, 0, size[2]};
  addQuad(low + z, x, -1 * z, material);           // towards -y
  addQuad(high, -1 * x, -1 * z, material);         // towards +y
  addQuad(low + z + y, -1 * y, -1 * z, material);  // towards -x
  addQuad(high - y, y, -1 * z, material);          // towards +x
  addQuad(low + z + y, x, -1 * y, material);       // up
  addQuad(low, x, y, material);                    // down
}

Result<FurnitureCatalogue> FurnitureCatalogue::read(const std::filesystem::path& folder) {
  FurnitureCatalogue catalogue;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const std::filesystem::path file = entry.path() / "PluginFurnitureCatalog.properties";
    if (!std::filesystem::exists(file, error)) continue;
    constexpr std::uint64_t mostBytes = std::uint64_t{1} << 24;
    const auto text = base::readFile(file, mostBytes);
    if (!text) return text.failure();
    readCatalogue(entry.path(), *text, catalogue.models_);
  }
  if (catalogue.models_.empty())
    return Failure{folder.string() + ": holds no furniture; scripts/setup fetches it"};
  return catalogue;
}

const FurnitureModel* FurnitureCatalogue::find(const std::string& id) const {
  const auto found = models_.find(id);
  return found == models_.end() ? nullptr : &found->second;
}

Result<Mesh> loadFurniture(const FurnitureModel& model) {
  tinyobj::ObjReader reader;
  tinyobj::ObjReaderConfig config;
  config.vertex_color = false;
  if (!reader.ParseFromFile(model.file.string(), config))
    return Failure{fmt::format("{}: cannot be read: {}", model.file.string(), reader.Error())};
  const tinyobj::attrib_t& vertices = reader.GetAttrib();
  const Fit fit(model, vertices.vertices);
  Mesh mesh;
  mesh.materials = materialsOf(reader.GetMaterials(), model.file.parent_path());
  for (const tinyobj::shape_t& shape : reader.GetShapes()) {
    const tinyobj::mesh_t& read = shape.mesh;
    for (std::size_t t = 0; t < read.material_ids.size(); ++t) {
      std::array<Float3, 3> corners{};
      for (std::size_t i = 0; i < 3; ++i)
        corners[i] = fit.position(
            &vertices.vertices[3 * static_cast<std::size_t>(read.indices[3 * t + i].vertex_index)]);
      const auto vector = [](const Float3& f) {
        return Vector{static_cast<double>(f[0]), static_cast<double>(f[1]), static_cast<double>(f[2])};
      };
      const Vector face =
          cross(vector(corners[1]) - vector(corners[0]), vector(corners[2]) - vector(corners[0]));
      if (!(dot(face, face) > 1e-18)) continue;
      for (std::size_t i = 0; i < 3; ++i) {
        const tinyobj::index_t& index = read.indices[3 * t + i];
        Vector normal =
            index.normal_index < 0
                ? face
                : vector(fit.normal(&vertices.normals[3 * static_cast<std::size_t>(index.normal_index)]));
        if (!(dot(normal, normal) > 1e-18)) normal = face;
        mesh.positions.push_back(corners[i]);
        mesh.normals.push_back(toFloat(normalized(normal)));
        mesh.uvs.push_back({0, 0});
        if (index.texcoord_index >= 0) {
          const tinyobj::real_t* uv = &vertices.texcoords[2 * static_cast<std::size_t>(index.texcoord_index)];
          mesh.uvs.back() = {uv[0], 1 - uv[1]};
        }
      }
      mesh.materialOf.push_back(static_cast<std::uint32_t>(
          std::clamp(read.material_ids[t], 0, static_cast<int>(mesh.materials.size()) - 1)));
    }
  }
  return mesh;
}

}  // namespace geoloom::tools
