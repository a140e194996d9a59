#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "geoloom/SceneUnderstanding/boxes/Ranking.h"
#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/SceneUnderstanding/boxes/ScoreOrder.h"
#include "geoloom/base/Precondition.h"
#include "geoloom/platform/vision/MLMultiArray.h"

namespace geoloom {
namespace {

constexpr const char* CLASS_NAMES =
    "???,person,bicycle,car,motorcycle,airplane,bus,train,truck,boat,traffic light,fire hydrant,???,stop "
    "sign,"
    "parking "
    "meter,bench,bird,cat,dog,horse,sheep,cow,elephant,bear,zebra,giraffe,???,backpack,umbrella,???,???,"
    "handbag,tie,suitcase,frisbee,skis,snowboard,sports ball,kite,baseball bat,baseball "
    "glove,skateboard,surfboard,"
    "tennis racket,bottle,???,wine "
    "glass,cup,fork,knife,spoon,bowl,banana,apple,sandwich,orange,broccoli,carrot,"
    "hot dog,pizza,donut,cake,chair,couch,potted plant,bed,???,dining "
    "table,???,???,toilet,???,tv,laptop,mouse,remote,"
    "keyboard,cell phone,microwave,oven,toaster,sink,refrigerator,???,book,clock,vase,scissors,teddy "
    "bear,hair drier,"
    "toothbrush";

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

/// The least element that is above `threshold` when widened, NaN when there is none: `score >=
/// lowestAbove(threshold)` in the elements' own precision decides exactly as `threshold < double(score)`
/// does, for floats at four or eight scores an instruction.
template <class Element>
Element lowestAbove(double threshold) {
  using Limits = std::numeric_limits<Element>;
  constexpr double largest = Limits::max();
  if (std::isnan(threshold) || threshold == std::numeric_limits<double>::infinity()) {
    return Limits::quiet_NaN();
  }
  if (threshold >= largest) return Limits::infinity();
  if (threshold < -largest) return Limits::lowest();
  const auto nearest = static_cast<Element>(threshold);
  return static_cast<double>(nearest) > threshold ? nearest : std::nextafter(nearest, Limits::infinity());
}

constexpr std::size_t BLOCK = 64;

/// One comparison a score and no branch, so that the compiler makes vector instructions of it.
template <class Element>
bool anyReaches(const Element* scores, Element lowest) {
  int any = 0;
  for (std::size_t i = 0; i < BLOCK; ++i) any |= static_cast<int>(scores[i] >= lowest);
  return any != 0;
}

/// Calls `visit(anchor)` for every score that reaches `lowest`, in ascending order.
template <class Element, class Visit>
void forEachReaching(std::span<const Element> scores, Element lowest, Visit&& visit) {
  std::size_t start = 0;
  for (; start + BLOCK <= scores.size(); start += BLOCK) {
    if (!anyReaches(scores.data() + start, lowest)) continue;
    for (std::size_t a = start; a < start + BLOCK; ++a) {
      if (scores[a] >= lowest) visit(a);
    }
  }
  for (; start < scores.size(); ++start) {
    if (scores[start] >= lowest) visit(start);
  }
}

template <class Element>
std::vector<std::vector<Prediction>> candidatesIn(std::span<const Element> boxPredictions,
                                                  std::span<const Element> scorePredictions,
                                                  const SSDPostProcessor& processor) {
  const auto anchors = static_cast<std::size_t>(processor.numAnchors());
  const auto classes = static_cast<std::size_t>(processor.numClasses());
  GEOLOOM_PRECONDITION(boxPredictions.size() >= 4 * anchors,
                       "postprocess: boxPredictions must hold 4 x numAnchors");
  GEOLOOM_PRECONDITION(scorePredictions.size() >= (classes + 1) * anchors,
                       "postprocess: scorePredictions must hold (numClasses + 1) x numAnchors");

  std::vector<std::vector<Prediction>> candidates(classes + 1);
  const auto& rows = SSDAnchors::anchors();
  const auto lowest = lowestAbove<Element>(processor.threshold());
  for (std::size_t c = 1; c <= classes; ++c) {
    const auto scores = scorePredictions.subspan(c * anchors, anchors);
    forEachReaching(scores, lowest, [&](std::size_t a) {
      const SSDAnchors::Row& row = rows[a];
      candidates[c].push_back(
          {.index = static_cast<std::int64_t>(a),
           .score = scores[a],
           .anchor = {row[0], row[1], row[2], row[3], INPUT_SIDE, INPUT_SIDE},
           .anchorEncoding = {boxPredictions[a], boxPredictions[anchors + a], boxPredictions[2 * anchors + a],
                              boxPredictions[3 * anchors + a]},
           .detectedClass = static_cast<std::int64_t>(c)});
    });
  }
  return candidates;
}

template <class Element>
void appendElements(const platform::MLMultiArray& array, std::vector<double>& elements) {
  const auto* data = static_cast<const Element*>(array.dataPointer());
  std::ptrdiff_t at = 0;
  const auto& shape = array.shape();
  std::vector<std::ptrdiff_t> index(shape.size());
  for (std::size_t left = array.count(); left > 0; --left) {
    elements.push_back(static_cast<double>(data[at]));
    for (std::size_t d = shape.size(); d-- > 0;) {
      at += array.strides()[d];
      if (++index[d] < shape[d]) break;
      at -= array.strides()[d] * shape[d];
      index[d] = 0;
    }
  }
}

/// All elements in linear order, whatever their type and wherever they lie.
std::vector<double> widenedElements(const platform::MLMultiArray& array) {
  std::vector<double> elements;
  elements.reserve(array.count());
  switch (array.dataType()) {
    case platform::MLMultiArrayDataType::float64:
      appendElements<double>(array, elements);
      break;
    case platform::MLMultiArrayDataType::float32:
      appendElements<float>(array, elements);
      break;
    case platform::MLMultiArrayDataType::int32:
      appendElements<std::int32_t>(array, elements);
      break;
  }
  return elements;
}

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
      classNames_(split(classNamesRaw_, ',')) {
  GEOLOOM_PRECONDITION(numAnchors >= 0 && numAnchors <= static_cast<std::int64_t>(SSDAnchors::count),
                       "SSDPostProcessor: numAnchors must lie between 0 and the rows of the anchor table");
  GEOLOOM_PRECONDITION(numClasses >= 0, "SSDPostProcessor: numClasses must not be negative");
}

std::vector<std::vector<Prediction>> SSDPostProcessor::postprocess(
    std::span<const float> boxPredictions, std::span<const float> scorePredictions) const {
  return candidatesIn(boxPredictions, scorePredictions, *this);
}

std::vector<std::vector<Prediction>> SSDPostProcessor::postprocess(
    const platform::MLMultiArray& boxPredictions, const platform::MLMultiArray& scorePredictions) const {
  const auto boxes = floatElements(boxPredictions);
  const auto scores = floatElements(scorePredictions);
  if (boxes && scores) return candidatesIn(*boxes, *scores, *this);
  const auto widenedBoxes = widenedElements(boxPredictions);
  const auto widenedScores = widenedElements(scorePredictions);
  return candidatesIn<double>(widenedBoxes, widenedScores, *this);
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
