#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/vision/EXIFOrientation.h"
#include "geoloom/platform/vision/MLModel.h"
#include "geoloom/platform/vision/VNImageCropAndScaleOption.h"

/// Image analysis: a request names a model, a handler performs requests on a picture, and the results are
/// observations.
namespace geoloom::platform {

class GEOLOOM_EXPORT VNObservation : public NSObject {
 public:
  explicit VNObservation(float confidence) : confidence_(confidence) {}
  /// 0 to 1; 1 if the model states no confidence.
  [[nodiscard]] float confidence() const { return confidence_; }

 private:
  float confidence_;
};

/// One output of a model, unprocessed.
class GEOLOOM_EXPORT VNCoreMLFeatureValueObservation final : public VNObservation {
 public:
  VNCoreMLFeatureValueObservation(std::string featureName, MLFeatureValue featureValue)
      : VNObservation(1), featureName_(std::move(featureName)), featureValue_(std::move(featureValue)) {}
  [[nodiscard]] const std::string& featureName() const { return featureName_; }
  [[nodiscard]] const MLFeatureValue& featureValue() const { return featureValue_; }

 private:
  std::string featureName_;
  MLFeatureValue featureValue_;
};

/// A label from a classifier.
class GEOLOOM_EXPORT VNClassificationObservation final : public VNObservation {
 public:
  VNClassificationObservation(std::string identifier, float confidence)
      : VNObservation(confidence), identifier_(std::move(identifier)) {}
  [[nodiscard]] const std::string& identifier() const { return identifier_; }

 private:
  std::string identifier_;
};

/// A model for requests. May be shared by any number of requests on any threads.
class GEOLOOM_EXPORT VNCoreMLModel final : public NSObject {
 public:
  /// Fails if `model` is null.
  [[nodiscard]] static base::Result<std::shared_ptr<VNCoreMLModel>> create(std::shared_ptr<MLModel> model);

  ~VNCoreMLModel() override;
  [[nodiscard]] const std::shared_ptr<MLModel>& model() const { return model_; }

  /// The model's outputs for one picture, in the manifest's order. Runs on the caller's thread.
  [[nodiscard]] base::Result<std::vector<std::shared_ptr<MLMultiArray>>> prediction(
      const CVPixelBuffer& picture, EXIFOrientation orientation, VNImageCropAndScaleOption option);

 private:
  explicit VNCoreMLModel(std::shared_ptr<MLModel> model);
  std::shared_ptr<MLModel> model_;
};

/// Requests a model's outputs. One thread at a time.
class GEOLOOM_EXPORT VNCoreMLRequest final : public NSObject {
 public:
  /// Called each time the request was performed, on the performing thread, before perform() returns. Not
  /// called on failure.
  using CompletionHandler = std::function<void(VNCoreMLRequest& request)>;

  VNCoreMLRequest(std::shared_ptr<VNCoreMLModel> model, CompletionHandler completionHandler);

  [[nodiscard]] const std::shared_ptr<VNCoreMLModel>& model() const { return model_; }

  VNImageCropAndScaleOption imageCropAndScaleOption = VNImageCropAndScaleOption::centerCrop;

  /// One observation per output in the manifest's order; empty until the request was performed.
  [[nodiscard]] const std::vector<std::shared_ptr<VNObservation>>& results() const { return results_; }

 private:
  friend class VNImageRequestHandler;
  base::Result<void> perform(const CVPixelBuffer& picture, EXIFOrientation orientation);

  std::shared_ptr<VNCoreMLModel> model_;
  CompletionHandler completionHandler_;
  std::vector<std::shared_ptr<VNObservation>> results_;
};

/// A picture and its orientation. The picture must not change while a request is performed.
class GEOLOOM_EXPORT VNImageRequestHandler final {
 public:
  VNImageRequestHandler(std::shared_ptr<CVPixelBuffer> picture, EXIFOrientation orientation);

  /// Performs the requests in order on the caller's thread. Stops at the first that fails and returns its
  /// failure.
  [[nodiscard]] base::Result<void> perform(std::span<const std::shared_ptr<VNCoreMLRequest>> requests);

 private:
  std::shared_ptr<CVPixelBuffer> picture_;
  EXIFOrientation orientation_;
};

}  // namespace geoloom::platform
