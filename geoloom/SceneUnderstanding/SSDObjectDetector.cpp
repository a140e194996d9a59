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

base::Result<std::shared_ptr<platform::VNCoreMLModel>> loadVisionModel() {
  const auto network = feature_model::create();
  if (!network) return network.failure();
  return platform::VNCoreMLModel::create(network->model);
}

std::shared_ptr<platform::VNCoreMLModel> visionModelOrAbort() {
  auto visionModel = loadVisionModel();
  if (visionModel) return *std::move(visionModel);
  platform::SystemLog::log(visionModel.failure().message);
  platform::SystemLog::log("SceneUnderstanding/SSDObjectDetector: Fatal error: Can't load VisionML model");
  std::abort();
}

SSDObjectDetector::Vision visionOf(std::shared_ptr<platform::VNCoreMLModel> visionModel) {
  using Observations = SSDObjectDetector::Observations;
  return
      [visionModel = std::move(visionModel)](const platform::ARFrame& frame) -> base::Result<Observations> {
        Observations observations;
        const std::array request{std::make_shared<platform::VNCoreMLRequest>(
            visionModel, [&](platform::VNCoreMLRequest& performed) { observations = performed.results(); })};
        request[0]->imageCropAndScaleOption = platform::VNImageCropAndScaleOption::centerCrop;
        // The sensor's image is landscape, the view upright.
        platform::VNImageRequestHandler handler(frame.capturedImage(), platform::EXIFOrientation::rightTop);
        if (const auto performed = handler.perform(request); !performed) return performed.failure();
        return observations;
      };
}

SCNVector3 translationOf(const platform::simd_float4x4& transform) {
  return {transform.columns[3].x, transform.columns[3].y, transform.columns[3].z};
}

/// The array of one result; null if the result is no array or has fewer elements.
const platform::MLMultiArray* arrayOf(const std::shared_ptr<platform::VNObservation>& observation,
                                      std::size_t leastCount) {
  const auto* value = dynamic_cast<const platform::VNCoreMLFeatureValueObservation*>(observation.get());
  const auto* array = value == nullptr ? nullptr : value->featureValue().multiArrayValue.get();
  return array != nullptr && array->count() >= leastCount ? array : nullptr;
}

}  // namespace

std::optional<std::string> SSDObjectDetector::modelFault() {
  const auto model = loadVisionModel();
  return model ? std::nullopt : std::optional(model.failure().message);
}

SSDObjectDetector::SSDObjectDetector(ViewSize view, Callback onDetections, Observer observer)
    : SSDObjectDetector(view, std::move(onDetections), std::move(observer), visionOf(visionModelOrAbort())) {}

SSDObjectDetector::SSDObjectDetector(ViewSize view, Callback onDetections, Observer observer, Vision vision)
    : screenHeight(view.height),
      screenWidth(view.width),
      updateQueue(platform::DispatchQueue::serial("com.yelt.objectdetector.updatequeue")),
      callback(std::move(onDetections)),
      lastExecution_(platform::Clock::current()->date()),
      ssdPostProcessor_(static_cast<std::int64_t>(SSDAnchors::COUNT), CLASS_COUNT, SCORE_THRESHOLD),
      vision_(std::move(vision)),
      boundingBoxes_(std::make_shared<BoundingBoxPool>()),
      observer_(std::move(observer)) {}

SSDObjectDetector::~SSDObjectDetector() = default;

FrameOffer SSDObjectDetector::offer(const std::shared_ptr<const platform::ARFrame>& frame) {
  if (!cameraMoved(*frame)) return FrameOffer::still;
  if (!lock.tryLock()) return FrameOffer::busy;
  try {
    updateQueue->async([self = shared_from_this(), frame] { self->analyseTaken(*frame); });
  } catch (const std::exception& exception) {
    lock.unlock();
    platform::SystemLog::log(std::string("dropped a frame: ") + exception.what());
    return FrameOffer::busy;
  }
  return FrameOffer::taken;
}

bool SSDObjectDetector::cameraMoved(const platform::ARFrame& frame) {
  const SCNVector3 position = translationOf(frame.camera().transform());
  return motionGate_.hasMoved({position.x, position.y, position.z}, frame.camera().eulerAngles());
}

void SSDObjectDetector::analyseTaken(const platform::ARFrame& frame) {
  FrameOutcome outcome;
  outcome.failure = base::Failure{"an exception ended the analysis"};
  const base::ScopeExit finish([&] {
    lock.unlock();
    if (observer_) observer_(frame, outcome);
  });
  outcome = analyse(frame);
}

void SSDObjectDetector::predict(const std::shared_ptr<const platform::ARFrame>& frame) {
  static_cast<void>(analyse(*frame));
}

FrameOutcome SSDObjectDetector::analyse(const platform::ARFrame& frame) {
  using std::chrono::steady_clock;
  FrameOutcome outcome;
  outcome.tracked = &semanticNetwork_;
  semaphore_.wait();
  const base::ScopeExit signal([this] { semaphore_.signal(); });
  const auto start = steady_clock::now();
  const auto observations = vision_(frame);
  const auto seen = steady_clock::now();
  outcome.vision = seen - start;
  if (!observations) {
    platform::Console::print(observations.failure().message);
    outcome.failure = observations.failure();
    return outcome;
  }
  const auto predictions = processResults(*observations);
  if (!predictions) {
    outcome.failure = predictions.failure();
    return outcome;
  }
  locateObjects(*predictions, frame);
  hideBoundingBoxes();
  outcome.handling = steady_clock::now() - seen;
  return outcome;
}

base::Result<std::vector<Prediction>> SSDObjectDetector::processResults(const Observations& observations) {
  lastExecution_ = platform::Clock::current()->date();
  const bool areTwo = observations.size() == 2;
  const auto* scores = areTwo ? arrayOf(observations[0], (CLASS_COUNT + 1) * SSDAnchors::COUNT) : nullptr;
  const auto* boxes = areTwo ? arrayOf(observations[1], 4 * SSDAnchors::COUNT) : nullptr;
  if (scores == nullptr || boxes == nullptr)
    return base::Failure{"the network's results are not one array of scores and one of boxes"};
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
