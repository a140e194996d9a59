#include "geoloom/platform/vision/ModelManifest.h"

#include <cmath>
#include <optional>

#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::platform {

namespace {

constexpr std::size_t MAXIMUM_RANK = 8;
constexpr double MAXIMUM_SIZE = 1 << 24;

std::string text(const JSON& object, std::string_view key) {
  const auto member = object[key];
  return member ? member->string().value_or("") : "";
}

/// A whole number of at least 1, or 0.
std::size_t size(const JSON& value, double limit) {
  const double number = value.number().value_or(0);
  return number >= 1 && number <= limit && number == std::floor(number) ? static_cast<std::size_t>(number)
                                                                        : 0;
}

std::size_t size(const JSON& object, std::string_view key, double limit) {
  const auto member = object[key];
  return member ? size(*member, limit) : 0;
}

double number(const JSON& object, std::string_view key) {
  const auto member = object[key];
  return member ? member->number().value_or(std::nan("")) : std::nan("");
}

/// A name that stays inside the bundle.
bool isFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

std::optional<std::string> readInput(const JSON& input, ModelManifest& manifest) {
  manifest.inputName = text(input, "name");
  manifest.inputWidth = size(input, "width", ModelManifest::MAXIMUM_SIDE);
  manifest.inputHeight = size(input, "height", ModelManifest::MAXIMUM_SIDE);
  if (manifest.inputName.empty() || manifest.inputWidth == 0 || manifest.inputHeight == 0) {
    return "\"input\" needs a name, a width and a height";
  }
  const std::string colors = text(input, "colors");
  if (colors != "RGB" && colors != "BGR") return R"("colors" is neither "RGB" nor "BGR")";
  manifest.blueFirst = colors == "BGR";
  manifest.divisor = number(input, "divisor");
  manifest.offset = number(input, "offset");
  if (!std::isfinite(manifest.divisor) || manifest.divisor == 0 || !std::isfinite(manifest.offset)) {
    return R"("divisor" and "offset" must be numbers, and the divisor not 0)";
  }
  return std::nullopt;
}

std::optional<std::string> readOutputs(const JSON& outputs, ModelManifest& manifest) {
  bool good = outputs.type() == JSON::Type::array && outputs.size() > 0;
  outputs.forEach([&](const JSON& entry) {
    ModelManifest::Output& output = manifest.outputs.emplace_back();
    output.name = text(entry, "name");
    const auto shape = entry["shape"];
    good = good && !output.name.empty() && shape && shape->size() > 0 && shape->size() <= MAXIMUM_RANK;
    if (!good) return;
    double count = 1;
    shape->forEach([&](const JSON& length) {
      output.shape.push_back(static_cast<std::ptrdiff_t>(size(length, MAXIMUM_SIZE)));
      count *= static_cast<double>(output.shape.back());
    });
    good = count >= 1 && count <= MAXIMUM_SIZE;
  });
  if (!good) return R"("outputs" must list at least one name with its shape)";
  return std::nullopt;
}

std::optional<std::string> readManifest(const JSON& root, ModelManifest& manifest) {
  if (text(root, "format") != "geoloom-model") return R"("format" is not "geoloom-model")";
  const double version = number(root, "version");
  if (version != ModelManifest::VERSION) {
    return "\"version\" is not " + std::to_string(ModelManifest::VERSION) + ", the one this library reads";
  }
  manifest.network = text(root, "network");
  if (!isFileName(manifest.network)) return "\"network\" does not name a file in the bundle";
  const auto input = root["input"];
  if (!input) return "\"input\" is missing";
  if (auto fault = readInput(*input, manifest)) return fault;
  const auto outputs = root["outputs"];
  if (!outputs) return "\"outputs\" is missing";
  return readOutputs(*outputs, manifest);
}

}  // namespace

base::Result<ModelManifest> parseModelManifest(std::string_view text, const std::string& name) {
  const auto root = JSON::parse(text);
  if (!root) return base::Failure{name + ": not JSON"};
  ModelManifest manifest;
  if (const auto fault = readManifest(*root, manifest)) return base::Failure{name + ": " + *fault};
  return manifest;
}

}  // namespace geoloom::platform
