#include "geoloom/SceneUnderstanding/network/feature_model.h"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "geoloom/platform/foundation/LibraryBundle.h"

namespace geoloom {

using platform::MLFeatureValue;

std::optional<MLFeatureValue> feature_modelInput::featureValue(std::string_view name) const {
  if (name == featureNames[0]) return MLFeatureValue{Preprocessor__sub__0, nullptr};
  return std::nullopt;
}

std::optional<MLFeatureValue> feature_modelOutput::featureValue(std::string_view name) const {
  if (name == featureNames[0]) return MLFeatureValue{nullptr, concat_1__0};
  if (name == featureNames[1]) return MLFeatureValue{nullptr, concat__0};
  return std::nullopt;
}

namespace {

constexpr std::ptrdiff_t SCORE_ROWS = 91;
constexpr std::ptrdiff_t BOX_ROWS = 4;
constexpr std::ptrdiff_t ANCHORS = 1917;

bool hasShape(const platform::ModelManifest::Output& output, std::ptrdiff_t rows) {
  auto shape = output.shape;
  std::erase(shape, 1);
  return shape == std::vector{rows, ANCHORS};
}

std::string describe(const std::vector<platform::ModelManifest::Output>& outputs) {
  std::string text;
  for (const auto& output : outputs)
    text += fmt::format("{}\"{}\" {}", text.empty() ? "" : ", ", output.name, fmt::join(output.shape, " x "));
  return text;
}

}  // namespace

base::Result<void> checkDetectorOutputs(const std::vector<platform::ModelManifest::Output>& outputs) {
  if (outputs.size() == 2 && hasShape(outputs[0], SCORE_ROWS) && hasShape(outputs[1], BOX_ROWS)) return {};
  return base::Failure{fmt::format(
      "\"outputs\" must list the scores, {} x {}, and then the box encodings, {} x {}, but lists {}",
      SCORE_ROWS, ANCHORS, BOX_ROWS, ANCHORS, describe(outputs))};
}

base::Result<feature_model> feature_model::create() {
  const auto path = platform::LibraryBundle::pathForResource("feature_model", "mlmodelc");
  if (!path)
    return base::Failure{
        "feature_model.mlmodelc is not beside the library; make it with `geoloom model compile`"};
  auto model = platform::MLModel::create(*path);
  if (!model) return model.failure();
  if (const auto checked = checkDetectorOutputs((*model)->manifest().outputs); !checked)
    return base::Failure{(*path / "manifest.json").string() + ": " + checked.failure().message};
  return feature_model{*std::move(model)};
}

}  // namespace geoloom
