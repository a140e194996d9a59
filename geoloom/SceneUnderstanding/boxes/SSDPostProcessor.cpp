#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"

#include <algorithm>
#include <numeric>

#include "geoloom/SceneUnderstanding/boxes/Ranking.h"
#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/SceneUnderstanding/boxes/ScoreOrder.h"
#include "geoloom/base/Precondition.h"
#include "geoloom/platform/vision/MLMultiArray.h"

namespace geoloom {
namespace {

// clang-format off: it would break names
constexpr const char* CLASS_NAMES =
    "???,person,bicycle,car,motorcycle,airplane,bus,train,truck,boat,traffic light,fire hydrant,???,"
    "stop sign,parking meter,bench,bird,cat,dog,horse,sheep,cow,elephant,bear,zebra,giraffe,???,backpack,"
    "umbrella,???,???,handbag,tie,suitcase,frisbee,skis,snowboard,sports ball,kite,baseball bat,"
    "baseball glove,skateboard,surfboard,tennis racket,bottle,???,wine glass,cup,fork,knife,spoon,bowl,"
    "banana,apple,sandwich,orange,broccoli,carrot,hot dog,pizza,donut,cake,chair,couch,potted plant,bed,"
    "???,dining table,???,???,toilet,???,tv,laptop,mouse,remote,keyboard,cell phone,microwave,oven,"
    "toaster,sink,refrigerator,???,book,clock,vase,scissors,teddy bear,hair drier,toothbrush";
// clang-format on

constexpr std::int64_t MAX_BOXES_PER_CLASS = 10;
constexpr float IOU_THRESHOLD = 0.3F;
constexpr double INPUT_SIDE = 300;

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1) {
    parts.push_back(text.substr(start, end - start));
  }
  parts.push_back(text.substr(start));
  return parts;
}

/// Reads the elements of an array by their linear index (last dimension fastest), widened to double, for any
/// element type and strides. Fast for contiguous 32-bit floats, which the model runtime returns.
class ElementReader {
 public:
  explicit ElementReader(const platform::MLMultiArray& array) : array_(array) {
    if (const auto floats = SSDPostProcessor::floatElements(array)) floats_ = floats->data();
  }

  double operator[](std::size_t index) const {
    return floats_ != nullptr ? static_cast<double>(floats_[index]) : stridedElement(index);
  }

 private:
  [[nodiscard]] double stridedElement(std::size_t index) const {
    std::ptrdiff_t offset = 0;
    for (std::size_t d = array_.shape().size(); d-- > 0;) {
      const auto length = static_cast<std::size_t>(array_.shape()[d]);
      offset += array_.strides()[d] * static_cast<std::ptrdiff_t>(index % length);
      index /= length;
    }
    switch (array_.dataType()) {
      case platform::MLMultiArrayDataType::float64:
        return static_cast<const double*>(array_.dataPointer())[offset];
      case platform::MLMultiArrayDataType::float32:
        return static_cast<double>(static_cast<const float*>(array_.dataPointer())[offset]);
      case platform::MLMultiArrayDataType::int32:
        return static_cast<const std::int32_t*>(array_.dataPointer())[offset];
    }
    return 0;
  }

  const platform::MLMultiArray& array_;
  const float* floats_ = nullptr;  ///< all elements, if they are contiguous 32-bit floats
};

platform::CGRect pixelRect(const Prediction& prediction) {
  const BoundingBox2 box = prediction.decodeBoundingBox();
  return {{box.xMin * INPUT_SIDE, box.yMin * INPUT_SIDE},
          {(box.xMax - box.xMin) * INPUT_SIDE, (box.yMax - box.yMin) * INPUT_SIDE}};
}

bool ranksBefore(const Prediction& a, const Prediction& b) {
  return scoresHigher(a.score, b.score);
}

}  // namespace

SSDPostProcessor::SSDPostProcessor(std::int64_t numAnchors, std::int64_t numClasses, double threshold)
    : numAnchors_(numAnchors),
      numClasses_(numClasses),
      threshold_(threshold),
      classNamesRaw_(CLASS_NAMES),
      classNames_(split(classNamesRaw_, ',')) {}

std::vector<std::vector<Prediction>> SSDPostProcessor::postprocess(
    const platform::MLMultiArray& boxPredictions, const platform::MLMultiArray& scorePredictions) const {
  const auto& rows = SSDAnchors::anchors();
  GEOLOOM_PRECONDITION(numClasses_ >= 0, "postprocess: numClasses must not be negative");
  GEOLOOM_PRECONDITION(numAnchors_ >= 0 && static_cast<std::size_t>(numAnchors_) <= rows.size(),
                       "postprocess: numAnchors must not exceed the rows of the anchor table");
  const auto anchors = static_cast<std::size_t>(numAnchors_);
  const auto classes = static_cast<std::size_t>(numClasses_);
  GEOLOOM_PRECONDITION(boxPredictions.count() >= 4 * anchors,
                       "postprocess: boxPredictions must hold 4 x numAnchors");
  GEOLOOM_PRECONDITION(scorePredictions.count() >= (classes + 1) * anchors,
                       "postprocess: scorePredictions must hold (numClasses + 1) x numAnchors");

  const ElementReader boxes(boxPredictions);
  const ElementReader scores(scorePredictions);
  std::vector<std::vector<Prediction>> candidates(classes + 1);
  for (std::size_t c = 1; c <= classes; ++c) {
    for (std::size_t a = 0; a < anchors; ++a) {
      const double score = scores[c * anchors + a];
      if (!(threshold_ < score)) continue;
      const SSDAnchors::Row& row = rows[a];
      candidates[c].push_back(
          {.index = static_cast<std::int64_t>(a),
           .score = score,
           .anchor = {row[0], row[1], row[2], row[3], INPUT_SIDE, INPUT_SIDE},
           .anchorEncoding = {boxes[a], boxes[anchors + a], boxes[2 * anchors + a], boxes[3 * anchors + a]},
           .detectedClass = static_cast<std::int64_t>(c)});
    }
  }
  return candidates;
}

std::optional<std::span<const float>> SSDPostProcessor::floatElements(const platform::MLMultiArray& array) {
  if (array.dataType() != platform::MLMultiArrayDataType::float32) return std::nullopt;
  std::ptrdiff_t contiguous = 1;
  for (std::size_t d = array.shape().size(); d-- > 0; contiguous *= array.shape()[d]) {
    if (array.shape()[d] != 1 && array.strides()[d] != contiguous) return std::nullopt;
  }
  return std::span(static_cast<const float*>(array.dataPointer()), array.count());
}

std::vector<Prediction> SSDPostProcessor::suppressOverlaps(std::span<const Prediction> predictions,
                                                           std::int64_t maxBoxes, float iouThreshold) {
  std::vector<std::size_t> order(predictions.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return ranksBefore(predictions[a], predictions[b]); });

  std::vector<Prediction> kept;
  std::vector<platform::CGRect> keptRects;
  for (const std::size_t candidate : order) {
    if (static_cast<std::int64_t>(kept.size()) >= maxBoxes) break;
    const platform::CGRect rect = pixelRect(predictions[candidate]);
    const bool overlaps =
        std::any_of(keptRects.begin(), keptRects.end(),
                    [&](const platform::CGRect& better) { return IOU(rect, better) > iouThreshold; });
    if (overlaps) continue;
    kept.push_back(predictions[candidate]);
    keptRects.push_back(rect);
  }
  return kept;
}

std::vector<Prediction> SSDPostProcessor::nonMaximumSuppression(
    std::span<const std::vector<Prediction>> predictionsByClass) const {
  GEOLOOM_PRECONDITION(predictionsByClass.size() >= 2,
                       "nonMaximumSuppression: predictionsByClass must have at least 2 entries");
  const auto end = std::min(predictionsByClass.size(), static_cast<std::size_t>(numClasses_) + 1);
  std::vector<Prediction> survivors;
  for (std::size_t c = 1; c < end; ++c) {
    if (predictionsByClass[c].empty()) continue;
    const auto kept = suppressOverlaps(predictionsByClass[c], MAX_BOXES_PER_CLASS, IOU_THRESHOLD);
    survivors.insert(survivors.end(), kept.begin(), kept.end());
  }
  std::stable_sort(survivors.begin(), survivors.end(), ranksBefore);
  return survivors;
}

}  // namespace geoloom
