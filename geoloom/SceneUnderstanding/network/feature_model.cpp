#include "geoloom/SceneUnderstanding/network/feature_model.h"

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

base::Result<feature_model> feature_model::create() {
  const auto path = platform::LibraryBundle::pathForResource("feature_model", "mlmodelc");
  if (!path)
    return base::Failure{
        "feature_model.mlmodelc is not beside the library; make it with `geoloom model compile`"};
  auto model = platform::MLModel::create(*path);
  if (!model) return model.failure();
  return feature_model{*std::move(model)};
}

}  // namespace geoloom
