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

/// Turns the network's two raw outputs into ranked predictions. Holds no state between calls: every operation
/// may be called from any thread.
class SSDPostProcessor {
 public:
  /// `threshold` is a raw logit and exclusive. Precondition: 0 <= numAnchors <= SSDAnchors::count, numClasses
  /// >= 0.
  SSDPostProcessor(std::int64_t numAnchors, std::int64_t numClasses, double threshold);

  [[nodiscard]] std::int64_t numAnchors() const { return numAnchors_; }
  [[nodiscard]] std::int64_t numClasses() const { return numClasses_; }
  [[nodiscard]] double threshold() const { return threshold_; }
  /// Name of every class by its index, 0 being the background.
  [[nodiscard]] const std::optional<std::vector<std::string>>& classNames() const { return classNames_; }
  /// The same as one comma-separated text.
  [[nodiscard]] const std::string& classNamesRaw() const { return classNamesRaw_; }

  /// The candidates of every class, in ascending order of anchors; numClasses + 1 lists, that of the
  /// background empty. `boxPredictions` is coordinate-major, [4, numAnchors] as ty, tx, th, tw;
  /// `scorePredictions` is class-major, [numClasses + 1, numAnchors]. Precondition: the tensors hold at least
  /// that many elements. Scores that are NaN or not above the threshold cost one comparison and no memory.
  [[nodiscard]] std::vector<std::vector<Prediction>> postprocess(
      std::span<const float> boxPredictions, std::span<const float> scorePredictions) const;

  /// The same on the model's own arrays, read in linear order: at once where floatElements() can read both,
  /// else through a copy.
  [[nodiscard]] std::vector<std::vector<Prediction>> postprocess(
      const platform::MLMultiArray& boxPredictions, const platform::MLMultiArray& scorePredictions) const;

  /// All elements of `array` in linear order; nothing unless they are 32-bit floats without gaps. Valid as
  /// long as the array is.
  [[nodiscard]] static std::optional<std::span<const float>> floatElements(
      const platform::MLMultiArray& array);

  /// The best predictions of one class that do not overlap a better one by more than `iouThreshold`, at most
  /// `maxBoxes`, highest score first; equal scores keep their order, NaN comes last.
  [[nodiscard]] static std::vector<Prediction> suppressOverlaps(std::span<const Prediction> predictions,
                                                                std::int64_t maxBoxes, float iouThreshold);

  /// What survives in each class, all classes together, highest score first. At most ten a class.
  /// Entry k is class k; classes without an entry have no predictions. Precondition: there are at least 2.
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
