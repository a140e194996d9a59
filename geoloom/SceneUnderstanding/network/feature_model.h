#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "geoloom/platform/vision/MLModel.h"
#include "geoloom/platform/vision/ModelManifest.h"

namespace geoloom {

/// The network's input. The names in this file are those of the compiled model.
struct feature_modelInput {
  static constexpr std::array<std::string_view, 1> featureNames = {"Preprocessor__sub__0"};

  std::shared_ptr<platform::CVPixelBuffer> Preprocessor__sub__0;

  /// Empty for any other name.
  [[nodiscard]] std::optional<platform::MLFeatureValue> featureValue(std::string_view name) const;
};

/// The network's two outputs in their order: scores, then box encodings. SSDPostProcessor.h describes their
/// layout.
struct feature_modelOutput {
  static constexpr std::array<std::string_view, 2> featureNames = {"concat_1__0", "concat__0"};

  std::shared_ptr<platform::MLMultiArray> concat_1__0;
  std::shared_ptr<platform::MLMultiArray> concat__0;

  /// Empty for any other name.
  [[nodiscard]] std::optional<platform::MLFeatureValue> featureValue(std::string_view name) const;
};

/// The detection network that is shipped beside the library as "feature_model.mlmodelc".
struct feature_model {
  std::shared_ptr<platform::MLModel> model;

  /// Loads the model, or shares it if it is already loaded in this process. Fails with a reason if the bundle
  /// is missing or damaged or its outputs are not the detector's.
  /// LibraryBundle::setPathForResource("feature_model", "mlmodelc", ...) sets another path.
  [[nodiscard]] static base::Result<feature_model> create();
};

/// Checks that a manifest lists the detector's outputs: scores 91 x 1917, then box encodings 4 x 1917.
/// Dimensions of 1 are ignored.
[[nodiscard]] base::Result<void> checkDetectorOutputs(
    const std::vector<platform::ModelManifest::Output>& outputs);

}  // namespace geoloom
