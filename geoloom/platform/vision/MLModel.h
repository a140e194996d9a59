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

/// One input or output of a model: a picture, an array, or neither.
struct MLFeatureValue {
  std::shared_ptr<CVPixelBuffer> imageBufferValue;
  std::shared_ptr<MLMultiArray> multiArrayValue;
};

/// A compiled model, loaded from its bundle (docs/model-bundle.md). Whoever loads a bundle that somebody in
/// the process holds already shares that one and its weights.
///
/// May be used from any thread; predictions of one model run one after the other. The engine cannot run one
/// network on two threads, and a second copy of the detection network would cost another 50 MB. A prediction
/// runs on the caller's thread alone and leaves the engine's process-wide settings as they are; while it
/// runs, other parallel loops of that engine in this process run on their callers' threads too.
class GEOLOOM_EXPORT MLModel final : public NSObject {
 public:
  /// Loads the bundle, or shares it. The failure names the file and what is wrong with it.
  [[nodiscard]] static base::Result<std::shared_ptr<MLModel>> create(const std::filesystem::path& bundle);

  ~MLModel() override;

  [[nodiscard]] const ModelManifest& manifest() const;

  /// Runs the network on what `fill` writes: 3 * inputWidth * inputHeight floats, plane after plane; it runs
  /// while the model is busy and must not ask it for another prediction. Gives the outputs in
  /// the manifest's order, 32-bit floats without gaps; they are the caller's and stay as they are when the
  /// model runs again. Their memory comes back for later predictions when they are let go.
  [[nodiscard]] base::Result<std::vector<std::shared_ptr<MLMultiArray>>> prediction(
      const std::function<void(float* planes)>& fill);

 private:
  struct State;
  explicit MLModel(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace geoloom::platform
