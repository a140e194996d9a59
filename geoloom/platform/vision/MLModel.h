#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/vision/MLModelPrecision.h"
#include "geoloom/platform/vision/MLMultiArray.h"
#include "geoloom/platform/vision/ModelManifest.h"

namespace geoloom::platform {

class CVPixelBuffer;

/// An input or output of a model: a picture, an array, or neither.
struct MLFeatureValue {
  std::shared_ptr<CVPixelBuffer> imageBufferValue;
  std::shared_ptr<MLMultiArray> multiArrayValue;
};

/// A compiled model, loaded from its bundle (docs/model-bundle.md). All loads of one bundle in a process
/// share the model and its weights.
///
/// May be used from any thread, also from several at once. A prediction runs on the caller's thread only and
/// leaves the process-wide settings of the engine unchanged. oneDNN runs the networks whose operators
/// docs/model-bundle.md lists, several at the same time; OpenCV runs all others, one at a time, and while it
/// does, other parallel loops of OpenCV in this process run on their callers' threads too.
class GEOLOOM_EXPORT MLModel final : public NSObject {
 public:
  /// Loads the bundle, or shares it. The failure names the file and the fault.
  [[nodiscard]] static base::Result<std::shared_ptr<MLModel>> create(const std::filesystem::path& bundle);

  /// Sets the precision of models that are loaded from now on by oneDNN. float32 unless set. The detection
  /// model is loaded with the first session.
  static void setPrecision(MLModelPrecision precision);

  ~MLModel() override;

  [[nodiscard]] const ModelManifest& manifest() const;

  /// The engine, its precision and the processor's instructions that it uses, for example
  /// "oneDNN, 32-bit floats, AVX2". Predictions are the same to the bit if all three are.
  [[nodiscard]] std::string engineDescription() const;

  /// Runs the network on the input that `fill` writes: 3 * inputWidth * inputHeight floats, plane by plane.
  /// `fill` must not request a prediction of this model. Returns the outputs in the manifest's order as new,
  /// contiguous 32-bit floats.
  [[nodiscard]] base::Result<std::vector<std::shared_ptr<MLMultiArray>>> prediction(
      const std::function<void(float* planes)>& fill);

 private:
  struct State;
  explicit MLModel(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace geoloom::platform
