#include "tools/model/ModelBundle.h"

#include <algorithm>
#include <cctype>
#include <fstream>

#include <nlohmann/json.hpp>

namespace geoloom::tools {

using base::Failure;
using base::Result;

namespace {

/// The kit's reader (geoloom/platform/vision/MLModel.cpp) knows this version.
constexpr int manifestVersion = 1;

/// Writes beside the target and renames, so that a reader never sees half a file.
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
      {"version", manifestVersion},
      {"network", "model.onnx"},
      {"input",
       {{"name", networkInput},
        {"width", compiled.inputSide},
        {"height", compiled.inputSide},
        {"colors", "RGB"},
        {"divisor", 127.5},
        {"offset", -1.0}}},
      {"outputs",
       {{{"name", networkScores}, {"shape", {compiled.classes, compiled.anchors}}},
        {{"name", networkBoxes}, {"shape", {4, compiled.anchors}}}}},
      {"source", sourceName},
  };
  return manifest.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace

std::vector<std::string> readLabels(std::string_view text) {
  std::vector<std::string> labels;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    labels.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return labels;
}

const std::vector<std::string>& publishedLabels() {
  static const std::vector<std::string> labels = {"???",
                                                  "Bicycle",
                                                  "Boot",
                                                  "Laptop",
                                                  "Person",
                                                  "Chair",
                                                  "Cattle",
                                                  "Desk",
                                                  "Cat",
                                                  "Computer mouse",
                                                  "Computer monitor",
                                                  "Box",
                                                  "Mug",
                                                  "Coffee cup",
                                                  "Stationary bicycle",
                                                  "Table",
                                                  "Bottle",
                                                  "High heels",
                                                  "Vehicle",
                                                  "Footwear",
                                                  "Dog",
                                                  "Book",
                                                  "Camera",
                                                  "Car"};
  return labels;
}

Result<ModelFile> splitModelFile(std::span<const std::uint8_t> file, const std::string& name) {
  constexpr std::string_view mark = "TFL3";
  constexpr std::size_t markPosition = 4;
  constexpr std::size_t longestLabels = 1U << 16;
  const std::string_view head(reinterpret_cast<const char*>(file.data()),
                              std::min(file.size(), longestLabels + markPosition + mark.size()));
  const std::size_t found = head.find(mark);
  if (found == std::string_view::npos || found < markPosition) {
    return Failure{name +
                   ": holds no TensorFlow Lite file; give a .tflite file or the assets it was packed in"};
  }
  const std::size_t start = found - markPosition;
  const std::string_view text = head.substr(0, start);
  const bool isText = std::all_of(text.begin(), text.end(),
                                  [](unsigned char c) { return c == '\n' || c == '\r' || c >= ' '; });
  if (!isText) return Failure{name + ": what stands before the TensorFlow Lite file is not a list of labels"};
  return ModelFile{readLabels(text), file.subspan(start)};
}

std::optional<Failure> writeModelBundle(const std::filesystem::path& folder, const CompiledSSD& compiled,
                                        const std::string& sourceName,
                                        std::span<const std::filesystem::path> notices) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!std::filesystem::is_directory(folder, error))
    return Failure{folder.string() + ": cannot be made a folder"};
  for (const auto& notice : notices) {
    std::filesystem::copy_file(notice, folder / notice.filename(),
                               std::filesystem::copy_options::overwrite_existing, error);
    if (error) return Failure{notice.string() + ": cannot be copied into " + folder.string()};
  }
  if (auto failure = writeWhole(folder / "model.onnx", compiled.onnx)) return failure;
  return writeWhole(folder / "manifest.json", manifestText(compiled, sourceName));
}

}  // namespace geoloom::tools
