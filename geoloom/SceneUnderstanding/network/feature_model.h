#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string_view>

#include "geoloom/platform/vision/MLModel.h"

namespace geoloom {

/// The network's one input. Fields and types here carry the names that the compiled model gives them.
struct feature_modelInput {
  static constexpr std::array<std::string_view, 1> featureNames = {"Preprocessor__sub__0"};

  std::shared_ptr<platform::CVPixelBuffer> Preprocessor__sub__0;

  /// Nothing by any other name.
  [[nodiscard]] std::optional<platform::MLFeatureValue> featureValue(std::string_view name) const;
};

/// The network's two outputs in the order in which it gives them: scores, then box encodings
/// (SSDPostProcessor.h has their layout).
struct feature_modelOutput {
  static constexpr std::array<std::string_view, 2> featureNames = {"concat_1__0", "concat__0"};

  std::shared_ptr<platform::MLMultiArray> concat_1__0;
  std::shared_ptr<platform::MLMultiArray> concat__0;

  /// Nothing by any other name.
  [[nodiscard]] std::optional<platform::MLFeatureValue> featureValue(std::string_view name) const;
};

/// The detection network that is shipped beside the library as "feature_model.mlmodelc".
struct feature_model {
  std::shared_ptr<platform::MLModel> model;

  /// Loads it, or shares it with whoever holds it in this process. The failure says where it was looked for
  /// or what is wrong with it. LibraryBundle::setPathForResource("feature_model", "mlmodelc", ...) names
  /// another place.
  [[nodiscard]] static base::Result<feature_model> create();
};

}  // namespace geoloom
