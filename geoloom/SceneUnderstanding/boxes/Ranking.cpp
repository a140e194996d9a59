#include "geoloom/SceneUnderstanding/boxes/Ranking.h"

#include "geoloom/SceneUnderstanding/boxes/ScoreOrder.h"
#include "geoloom/platform/vision/VNRequest.h"

namespace geoloom {
namespace {

std::vector<std::int64_t> indicesOf(std::size_t count) {
  std::vector<std::int64_t> indices(count);
  std::iota(indices.begin(), indices.end(), std::int64_t{0});
  return indices;
}

const NMSPrediction& at(std::span<const NMSPrediction> predictions, std::int64_t index) {
  return predictions[static_cast<std::size_t>(index)];
}

void sortByScore(std::vector<std::int64_t>& indices, std::span<const NMSPrediction> predictions) {
  std::stable_sort(indices.begin(), indices.end(), [&](std::int64_t a, std::int64_t b) {
    return scoresHigher(at(predictions, a).score, at(predictions, b).score);
  });
}

}  // namespace

float IOU(const platform::CGRect& a, const platform::CGRect& b) {
  const double areaA = a.width() * a.height();
  const double areaB = b.width() * b.height();
  if (areaA <= 0 || areaB <= 0) return 0;
  const double overlapX = std::min(a.maxX(), b.maxX()) - std::max(a.minX(), b.minX());
  const double overlapY = std::min(a.maxY(), b.maxY()) - std::max(a.minY(), b.minY());
  const double intersection = std::max(overlapX, 0.0) * std::max(overlapY, 0.0);
  return static_cast<float>(intersection / (areaA + areaB - intersection));
}

std::vector<std::int64_t> nonMaxSuppression(std::span<const NMSPrediction> predictions, float iouThreshold,
                                            std::int64_t maxBoxes) {
  return nonMaxSuppression(predictions, indicesOf(predictions.size()), iouThreshold, maxBoxes);
}

std::vector<std::int64_t> nonMaxSuppression(std::span<const NMSPrediction> predictions,
                                            std::span<const std::int64_t> indices, float iouThreshold,
                                            std::int64_t maxBoxes) {
  const auto count = static_cast<std::int64_t>(predictions.size());
  for (const std::int64_t index : indices) {
    GEOLOOM_REQUIRE(index >= 0 && index < count, "nonMaxSuppression: an index lies outside the predictions");
  }
  std::vector<std::int64_t> order(indices.begin(), indices.end());
  sortByScore(order, predictions);

  std::vector<std::int64_t> selected;
  for (const std::int64_t candidate : order) {
    if (static_cast<std::int64_t>(selected.size()) >= maxBoxes) break;
    const bool overlaps = std::any_of(selected.begin(), selected.end(), [&](std::int64_t better) {
      return IOU(at(predictions, candidate).rect, at(predictions, better).rect) > iouThreshold;
    });
    if (!overlaps) selected.push_back(candidate);
  }
  return selected;
}

std::vector<std::int64_t> nonMaxSuppression(std::span<const NMSPrediction> predictions,
                                            std::initializer_list<std::int64_t> indices, float iouThreshold,
                                            std::int64_t maxBoxes) {
  return nonMaxSuppression(predictions, std::span(indices.begin(), indices.size()), iouThreshold, maxBoxes);
}

std::vector<std::int64_t> nonMaxSuppressionMultiClass(std::int64_t numClasses,
                                                      std::span<const NMSPrediction> predictions,
                                                      float scoreThreshold, float iouThreshold,
                                                      std::int64_t maxPerClass, std::int64_t maxTotal) {
  GEOLOOM_REQUIRE(numClasses >= 0, "nonMaxSuppressionMultiClass: numClasses must not be negative");
  GEOLOOM_REQUIRE(maxTotal >= 0, "nonMaxSuppressionMultiClass: maxTotal must not be negative");
  std::vector<std::int64_t> selected;
  for (std::int64_t c = 0; c < numClasses; ++c) {
    std::vector<std::int64_t> ofClass;
    for (std::size_t p = 0; p < predictions.size(); ++p) {
      if (predictions[p].classIndex == c && predictions[p].score > scoreThreshold)
        ofClass.push_back(static_cast<std::int64_t>(p));
    }
    const auto kept = nonMaxSuppression(predictions, ofClass, iouThreshold, maxPerClass);
    selected.insert(selected.end(), kept.begin(), kept.end());
  }
  sortByScore(selected, predictions);
  if (static_cast<std::int64_t>(selected.size()) > maxTotal)
    selected.resize(static_cast<std::size_t>(maxTotal));
  return selected;
}

std::vector<RankedLabel> top(std::int64_t k, const std::unordered_map<std::string, double>& probabilities) {
  std::vector<RankedLabel> ranked(probabilities.begin(), probabilities.end());
  const auto kept = std::clamp<std::int64_t>(k, 0, static_cast<std::int64_t>(ranked.size()));
  std::partial_sort(ranked.begin(), ranked.begin() + kept, ranked.end(),
                    [](const RankedLabel& a, const RankedLabel& b) {
                      if (scoresHigher(a.second, b.second)) return true;
                      return !scoresHigher(b.second, a.second) && a.first < b.first;
                    });
  ranked.resize(static_cast<std::size_t>(kept));
  return ranked;
}

std::vector<RankedLabel> top(
    std::int64_t k, std::span<const std::shared_ptr<platform::VNClassificationObservation>> observations) {
  GEOLOOM_REQUIRE(k >= 0, "top: k must not be negative");
  std::vector<RankedLabel> best;
  for (const auto& observation :
       observations.first(std::min(static_cast<std::size_t>(k), observations.size()))) {
    best.emplace_back(observation->identifier(), static_cast<double>(observation->confidence()));
  }
  return best;
}

}  // namespace geoloom
