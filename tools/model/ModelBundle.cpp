#include "tools/model/ModelBundle.h"

#include <fstream>

#include <nlohmann/json.hpp>

#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"

namespace geoloom::tools {

using base::Failure;

namespace {

/// The kit's reader (geoloom/platform/vision/MLModel.cpp) knows this version.
constexpr int MANIFEST_VERSION = 1;

/// Writes beside the target and renames, so that a reader never sees part of a file.
std::optional<Failure> writeWhole(const std::filesystem::path& path, std::string_view text) {
  const std::filesystem::path partial = path.string() + ".partial";
  std::ofstream file(partial, std::ios::binary | std::ios::trunc);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.close();
  std::error_code error;
  if (file) std::filesystem::rename(partial, path, error);
  if (file && !error) return std::nullopt;
  std::filesystem::remove(partial, error);
  return Failure{path.string() + ": cannot be written"};
}

std::string manifestText(const CompiledSSD& compiled, const std::string& sourceName) {
  const nlohmann::ordered_json manifest = {
      {"format", "geoloom-model"},
      {"version", MANIFEST_VERSION},
      {"network", "model.onnx"},
      {"input",
       {{"name", CompiledSSD::INPUT},
        {"width", compiled.side},
        {"height", compiled.side},
        {"colors", "RGB"},
        {"divisor", compiled.divisor},
        {"offset", compiled.offset}}},
      {"outputs",
       {{{"name", CompiledSSD::SCORES}, {"shape", {CompiledSSD::CLASSES, SSDAnchors::COUNT}}},
        {{"name", CompiledSSD::BOXES}, {"shape", {4, SSDAnchors::COUNT}}}}},
      {"source", sourceName},
  };
  return manifest.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace

std::optional<Failure> writeModelBundle(const std::filesystem::path& folder, const CompiledSSD& compiled,
                                        const std::string& sourceName,
                                        std::span<const std::filesystem::path> notices) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!std::filesystem::is_directory(folder, error))
    return Failure{folder.string() + ": cannot be created as a folder"};
  for (const auto& notice : notices) {
    std::filesystem::copy_file(notice, folder / notice.filename(),
                               std::filesystem::copy_options::overwrite_existing, error);
    if (error) return Failure{notice.string() + ": cannot be copied into " + folder.string()};
  }
  if (auto failure = writeWhole(folder / "model.onnx", compiled.onnx)) return failure;
  return writeWhole(folder / "manifest.json", manifestText(compiled, sourceName));
}

}  // namespace geoloom::tools
