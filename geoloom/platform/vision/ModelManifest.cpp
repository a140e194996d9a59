#include "geoloom/platform/vision/ModelManifest.h"

#include <cmath>
#include <optional>

#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::platform {

namespace {

constexpr std::size_t MAXIMUM_RANK = 8;
constexpr double MAXIMUM_SIZE = 1 << 24;

std::string text(const JSON& object, std::string_view key) {
  return object.string(key).value_or("");
}

/// A whole number of at least 1, or 0.
std::size_t size(std::optional<double> number, double limit) {
  const double value = number.value_or(0);
  return value >= 1 && value <= limit && value == std::floor(value) ? static_cast<std::size_t>(value) : 0;
}

/// A name that stays inside the bundle.
bool isFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

base::Result<void> readInput(const JSON& input, ModelManifest& manifest) {
  manifest.inputName = text(input, "name");
  manifest.inputWidth = size(input.number("width"), ModelManifest::MAXIMUM_SIDE);
  manifest.inputHeight = size(input.number("height"), ModelManifest::MAXIMUM_SIDE);
  if (manifest.inputName.empty() || manifest.inputWidth == 0 || manifest.inputHeight == 0) {
    return base::Failure{"\"input\" needs a name, a width and a height"};
  }
  const std::string colors = text(input, "colors");
  if (colors != "RGB" && colors != "BGR") return base::Failure{R"("colors" is neither "RGB" nor "BGR")"};
  manifest.blueFirst = colors == "BGR";
  manifest.divisor = input.number("divisor").value_or(0);
  manifest.offset = input.number("offset").value_or(std::nan(""));
  if (manifest.divisor == 0 || !std::isfinite(manifest.offset)) {
    return base::Failure{R"("divisor" and "offset" must be numbers, and the divisor not 0)"};
  }
  return {};
}

base::Result<void> readOutputs(const JSON& outputs, ModelManifest& manifest) {
  bool good = outputs.type() == JSON::Type::array && outputs.size() > 0;
  outputs.forEach([&](const JSON& entry) {
    ModelManifest::Output& output = manifest.outputs.emplace_back();
    output.name = text(entry, "name");
    const auto shape = entry["shape"];
    good = good && !output.name.empty() && shape && shape->size() > 0 && shape->size() <= MAXIMUM_RANK;
    if (!good) return;
    double count = 1;
    shape->forEach([&](const JSON& length) {
      output.shape.push_back(static_cast<std::ptrdiff_t>(size(length.number(), MAXIMUM_SIZE)));
      count *= static_cast<double>(output.shape.back());
    });
    good = count >= 1 && count <= MAXIMUM_SIZE;
  });
  if (!good) return base::Failure{R"("outputs" must list at least one name with its shape)"};
  return {};
}

base::Result<void> readManifest(const JSON& root, ModelManifest& manifest) {
  if (text(root, "format") != "geoloom-model") return base::Failure{R"("format" is not "geoloom-model")"};
  if (root.number("version") != ModelManifest::VERSION) {
    return base::Failure{"\"version\" is not " + std::to_string(ModelManifest::VERSION) +
                         ", the one this library reads"};
  }
  manifest.network = text(root, "network");
  if (!isFileName(manifest.network)) return base::Failure{"\"network\" does not name a file in the bundle"};
  const auto input = root["input"];
  if (!input) return base::Failure{"\"input\" is missing"};
  if (auto read = readInput(*input, manifest); !read) return read;
  const auto outputs = root["outputs"];
  if (!outputs) return base::Failure{"\"outputs\" is missing"};
  return readOutputs(*outputs, manifest);
}

}  // namespace

base::Result<ModelManifest> parseModelManifest(std::string_view text, const std::string& name) {
  const auto root = JSON::parse(text);
  if (!root) return base::Failure{name + ": not JSON"};
  ModelManifest manifest;
  if (const auto read = readManifest(*root, manifest); !read)
    return base::Failure{name + ": " + read.failure().message};
  return manifest;
}

}  // namespace geoloom::platform
