#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/NSObject.h"
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
/// May be used from any thread; predictions of one model run one after the other, because the engine cannot
/// run a network on two threads and a second copy of the detection network would need another 50 MB. A
/// prediction runs on the caller's thread only and leaves the engine's process-wide settings unchanged. While
/// it runs, other parallel loops of the engine in this process run on their callers' threads too.
class GEOLOOM_EXPORT MLModel final : public NSObject {
 public:
  /// Loads the bundle, or shares it. The failure names the file and the fault.
  [[nodiscard]] static base::Result<std::shared_ptr<MLModel>> create(const std::filesystem::path& bundle);

  ~MLModel() override;

  [[nodiscard]] const ModelManifest& manifest() const;

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
