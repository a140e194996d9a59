#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "geoloom/SceneUnderstanding/boxes/Prediction.h"

namespace geoloom {

namespace platform {
class MLMultiArray;
}

/// Converts the network's two raw outputs to ranked predictions. Stateless: every operation may be called
/// from any thread.
class SSDPostProcessor {
 public:
  /// `threshold` is a raw logit; scores must exceed it.
  SSDPostProcessor(std::int64_t numAnchors, std::int64_t numClasses, double threshold);

  [[nodiscard]] std::int64_t numAnchors() const { return numAnchors_; }
  [[nodiscard]] std::int64_t numClasses() const { return numClasses_; }
  [[nodiscard]] double threshold() const { return threshold_; }
  /// The class names by class index; index 0 is the background.
  [[nodiscard]] const std::optional<std::vector<std::string>>& classNames() const { return classNames_; }
  /// The class names as one comma-separated text.
  [[nodiscard]] const std::string& classNamesRaw() const { return classNamesRaw_; }

  /// The candidates of every class in ascending order of anchors: numClasses + 1 lists; that of the
  /// background is empty. `boxPredictions` is coordinate-major, [4, numAnchors] as ty, tx, th, tw.
  /// `scorePredictions` is class-major, [numClasses + 1, numAnchors]. Both are read by linear index, for any
  /// element type and strides. Preconditions: the arrays hold at least that many elements; numAnchors is at
  /// most SSDAnchors::COUNT; numAnchors and numClasses are not negative.
  [[nodiscard]] std::vector<std::vector<Prediction>> postprocess(
      const platform::MLMultiArray& boxPredictions, const platform::MLMultiArray& scorePredictions) const;

  /// All elements of `array` in linear order; absent unless they are contiguous 32-bit floats. Valid as long
  /// as the array.
  [[nodiscard]] static std::optional<std::span<const float>> floatElements(
      const platform::MLMultiArray& array);

  /// The best predictions of one class that do not overlap a better one by more than `iouThreshold`, at most
  /// `maxBoxes`, highest score first. Equal scores keep their order, NaN comes last.
  [[nodiscard]] static std::vector<Prediction> suppressOverlaps(std::span<const Prediction> predictions,
                                                                std::int64_t maxBoxes, float iouThreshold);

  /// The best predictions of every class, at most ten each, merged and ordered by score, highest first. Entry
  /// k of `predictionsByClass` is class k; missing entries count as empty. Precondition: there are at least 2
  /// entries.
  [[nodiscard]] std::vector<Prediction> nonMaximumSuppression(
      std::span<const std::vector<Prediction>> predictionsByClass) const;

 private:
  std::int64_t numAnchors_;
  std::int64_t numClasses_;
  double threshold_;
  std::string classNamesRaw_;
  std::optional<std::vector<std::string>> classNames_;
};

}  // namespace geoloom
