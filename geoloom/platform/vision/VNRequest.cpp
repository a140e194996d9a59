#include "geoloom/platform/vision/VNRequest.h"

#include "geoloom/platform/vision/ImagePreparation.h"

namespace geoloom::platform {

VNCoreMLModel::VNCoreMLModel(std::shared_ptr<MLModel> model) : model_(std::move(model)) {}
VNCoreMLModel::~VNCoreMLModel() = default;

base::Result<std::shared_ptr<VNCoreMLModel>> VNCoreMLModel::create(std::shared_ptr<MLModel> model) {
  if (!model) return base::Failure{"the model must not be null"};
  return std::shared_ptr<VNCoreMLModel>(new VNCoreMLModel(std::move(model)));
}

base::Result<std::vector<std::shared_ptr<MLMultiArray>>> VNCoreMLModel::prediction(
    const CVPixelBuffer& picture, EXIFOrientation orientation, VNImageCropAndScaleOption option) {
  const ModelManifest& manifest = model_->manifest();
  const NetworkInput input = {manifest.inputWidth, manifest.inputHeight, manifest.blueFirst,
                              static_cast<float>(manifest.divisor), static_cast<float>(manifest.offset)};
  // Keeps its tables from frame to frame.
  thread_local ImagePreparation preparation;
  return model_->prediction(
      [&](float* planes) { preparation.prepare(picture, orientation, option, input, planes); });
}

VNCoreMLRequest::VNCoreMLRequest(std::shared_ptr<VNCoreMLModel> model, CompletionHandler completionHandler)
    : model_(std::move(model)), completionHandler_(std::move(completionHandler)) {}

std::optional<base::Failure> VNCoreMLRequest::perform(const CVPixelBuffer& picture,
                                                      EXIFOrientation orientation) {
  results_.clear();
  auto outputs = model_->prediction(picture, orientation, imageCropAndScaleOption);
  if (!outputs) return outputs.failure();
  const auto& names = model_->model()->manifest().outputs;
  for (std::size_t i = 0; i < outputs->size(); ++i) {
    results_.push_back(std::make_shared<VNCoreMLFeatureValueObservation>(
        names[i].name, MLFeatureValue{nullptr, std::move((*outputs)[i])}));
  }
  if (completionHandler_) completionHandler_(*this);
  return std::nullopt;
}

VNImageRequestHandler::VNImageRequestHandler(std::shared_ptr<CVPixelBuffer> picture,
                                             EXIFOrientation orientation)
    : picture_(std::move(picture)), orientation_(orientation) {}

std::optional<base::Failure> VNImageRequestHandler::perform(
    std::span<const std::shared_ptr<VNCoreMLRequest>> requests) {
  if (!picture_) return base::Failure{"the picture to analyse must not be null"};
  for (const auto& request : requests) {
    if (auto failure = request->perform(*picture_, orientation_)) return failure;
  }
  return std::nullopt;
}

}  // namespace geoloom::platform
