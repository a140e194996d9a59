#include "geoloom/SceneUnderstanding/SSDObjectDetector.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/SceneUnderstanding/draw/DetectionOverlay.h"
#include "geoloom/SceneUnderstanding/locate/LocateBox.h"
#include "geoloom/SceneUnderstanding/network/feature_model.h"
#include "geoloom/base/ScopeExit.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/ui/UIView.h"
#include "geoloom/platform/vision/MLMultiArray.h"
#include "geoloom/platform/vision/VNRequest.h"
#include "geoloom/session/types/DetectedObjectFactory.h"

namespace geoloom {
namespace {

using platform::SCNVector3;

constexpr std::int64_t CLASS_COUNT = 90;
constexpr double SCORE_THRESHOLD = 0.01;

[[noreturn]] void failToLoad(const base::Failure& failure) {
  platform::SystemLog::log(failure.message);
  platform::SystemLog::log("SceneUnderstanding/SSDObjectDetector: Fatal error: Can't load VisionML model");
  std::abort();
}

std::shared_ptr<platform::VNCoreMLModel> loadVisionModel() {
  const auto network = feature_model::create();
  if (!network) failToLoad(network.failure());
  auto visionModel = platform::VNCoreMLModel::create(network->model);
  if (!visionModel) failToLoad(visionModel.failure());
  return *std::move(visionModel);
}

SSDObjectDetector::Vision visionOf(std::shared_ptr<platform::VNCoreMLModel> visionModel) {
  return [visionModel = std::move(visionModel)](const platform::ARFrame& frame, const auto& completion) {
    const std::array request{std::make_shared<platform::VNCoreMLRequest>(
        visionModel, [&](platform::VNCoreMLRequest& performed) { completion(performed.results()); })};
    request[0]->imageCropAndScaleOption = platform::VNImageCropAndScaleOption::centerCrop;
    // The sensor's image is landscape, the view upright.
    return platform::VNImageRequestHandler(frame.capturedImage(), platform::EXIFOrientation::rightTop)
        .perform(request);
  };
}

SCNVector3 translationOf(const platform::simd_float4x4& transform) {
  return {transform.columns[3].x, transform.columns[3].y, transform.columns[3].z};
}

/// The array of one result; nothing where it is something else or holds fewer elements.
const platform::MLMultiArray* arrayOf(const std::shared_ptr<platform::VNObservation>& observation,
                                      std::size_t leastCount) {
  const auto* value = dynamic_cast<const platform::VNCoreMLFeatureValueObservation*>(observation.get());
  const auto* array = value == nullptr ? nullptr : value->featureValue().multiArrayValue.get();
  return array != nullptr && array->count() >= leastCount ? array : nullptr;
}

}  // namespace

SSDObjectDetector::SSDObjectDetector(double height, double width, Callback onDetections)
    : SSDObjectDetector(height, width, std::move(onDetections), visionOf(loadVisionModel())) {}

SSDObjectDetector::SSDObjectDetector(double height, double width, Callback onDetections, Vision vision)
    : screenHeight(height),
      screenWidth(width),
      callback(std::move(onDetections)),
      updateQueue(platform::DispatchQueue::serial("com.yelt.objectdetector.updatequeue")),
      lastExecution_(platform::Clock::current()->date()),
      ssdPostProcessor_(static_cast<std::int64_t>(SSDAnchors::count), CLASS_COUNT, SCORE_THRESHOLD),
      vision_(std::move(vision)),
      boundingBoxes_(std::make_shared<BoundingBoxPool>()) {}

SSDObjectDetector::~SSDObjectDetector() = default;

bool SSDObjectDetector::cameraMoved(const platform::ARFrame& frame) {
  const SCNVector3 position = translationOf(frame.camera().transform());
  return motionGate_.hasMoved({position.x, position.y, position.z}, frame.camera().eulerAngles());
}

void SSDObjectDetector::predict(const std::shared_ptr<const platform::ARFrame>& frame) {
  semaphore_.wait();
  const base::ScopeExit signal([this] { semaphore_.signal(); });
  const auto start = std::chrono::steady_clock::now();
  const auto failure = vision_(*frame, [&](const Observations& observations) {
    const auto seen = std::chrono::steady_clock::now();
    handleResults(observations, *frame);
    lastAnalysis_ = {lastAnalysis_.count + 1, seen - start, std::chrono::steady_clock::now() - seen};
  });
  if (failure) platform::Console::print(failure->message);
}

void SSDObjectDetector::handleResults(const Observations& observations, const platform::ARFrame& frame) {
  const auto predictions = processResults(observations);
  if (!predictions) return;
  locateObjects(*predictions, frame);
  hideBoundingBoxes();
}

std::optional<std::vector<Prediction>> SSDObjectDetector::processResults(const Observations& observations) {
  lastExecution_ = platform::Clock::current()->date();
  if (observations.size() != 2) return std::nullopt;
  const auto* scores = arrayOf(observations[0], (CLASS_COUNT + 1) * SSDAnchors::count);
  const auto* boxes = arrayOf(observations[1], 4 * SSDAnchors::count);
  if (scores == nullptr || boxes == nullptr) return std::nullopt;
  return ssdPostProcessor_.nonMaximumSuppression(ssdPostProcessor_.postprocess(*boxes, *scores));
}

void SSDObjectDetector::locateObjects(std::span<const Prediction> predictions,
                                      const platform::ARFrame& frame) {
  const auto currentScene = scene.load();
  const bool draws = drawBoundingBoxes;
  std::function<void(SCNVector3)> onHit;
  if (VISUALIZE_HITTEST_LOCS && currentScene) onHit = [&](SCNVector3 p) { hitMarker(p, *currentScene); };

  std::vector<std::shared_ptr<DetectedObject>> objects;
  for (const Prediction& prediction : predictions) {
    if (!ssdPostProcessor_.classNames()) continue;
    const std::string& name =
        (*ssdPostProcessor_.classNames())[static_cast<std::size_t>(prediction.detectedClass)];
    const auto bounds = locateBox(prediction.decodeBoundingBox(), frame, screenWidth, screenHeight, onHit);
    if (!bounds) continue;
    const auto confidence = static_cast<float>(1 / (1 + std::exp(-prediction.score)));
    const float height = std::abs(bounds->minY - bounds->maxY);
    objects.push_back(DetectedObjectFactory::make(name, confidence, bounds->center(), height));
    semanticNetwork_.observe(name, static_cast<double>(confidence), *bounds, currentScene, draws);
  }
  if (currentScene) semanticNetwork_.drawVisualEdges(*currentScene);
  if (callback) callback(objects);
}

void SSDObjectDetector::setUpBoundingBoxes(const std::shared_ptr<platform::UIView>& view) {
  boundingBoxes_->setUp(*view->layer());
}

void SSDObjectDetector::hideBoundingBoxes() {
  platform::DispatchQueue::main()->async([boxes = boundingBoxes_] { boxes->hide(); });
}

}  // namespace geoloom
