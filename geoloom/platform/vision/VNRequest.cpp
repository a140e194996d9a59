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
  return model_->prediction(
      [&](float* planes) { prepareImage(picture, orientation, option, input, planes); });
}

VNCoreMLRequest::VNCoreMLRequest(std::shared_ptr<VNCoreMLModel> model, CompletionHandler completionHandler)
    : model_(std::move(model)), completionHandler_(std::move(completionHandler)) {}

base::Result<void> VNCoreMLRequest::perform(const CVPixelBuffer& picture, EXIFOrientation orientation) {
  results_.clear();
  auto outputs = model_->prediction(picture, orientation, imageCropAndScaleOption);
  if (!outputs) return outputs.failure();
  const auto& names = model_->model()->manifest().outputs;
  for (std::size_t i = 0; i < outputs->size(); ++i) {
    results_.push_back(std::make_shared<VNCoreMLFeatureValueObservation>(
        names[i].name, MLFeatureValue{nullptr, std::move((*outputs)[i])}));
  }
  if (completionHandler_) completionHandler_(*this);
  return {};
}

VNImageRequestHandler::VNImageRequestHandler(std::shared_ptr<CVPixelBuffer> picture,
                                             EXIFOrientation orientation)
    : picture_(std::move(picture)), orientation_(orientation) {}

base::Result<void> VNImageRequestHandler::perform(
    std::span<const std::shared_ptr<VNCoreMLRequest>> requests) {
  if (!picture_) return base::Failure{"the picture to analyse must not be null"};
  for (const auto& request : requests) {
    if (auto performed = request->perform(*picture_, orientation_); !performed) return performed;
  }
  return {};
}

}  // namespace geoloom::platform
