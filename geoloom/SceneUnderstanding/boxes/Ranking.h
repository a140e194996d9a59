#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <numeric>
#include <ranges>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Precondition.h"
#include "geoloom/platform/foundation/CoreGraphics.h"

/// Ranking utilities for applications that run their own models. Pure functions, usable from any thread.
/// Equal scores keep the order of their indices; a NaN score ranks last.
namespace geoloom {

namespace platform {
class VNClassificationObservation;
}

/// A rectangle with a score, in any unit of length.
struct NMSPrediction {
  std::int64_t classIndex = 0;
  float score = 0;
  platform::CGRect rect;
};

/// Intersection over union; 0 if a rectangle has no area. Negative sizes are normalised (see CGRect).
[[nodiscard]] GEOLOOM_EXPORT float IOU(const platform::CGRect& a, const platform::CGRect& b);

/// The indices of the boxes that are kept, at most `maxBoxes`, highest score first. A box is dropped if its
/// intersection over union with a kept box exceeds `iouThreshold`.
[[nodiscard]] GEOLOOM_EXPORT std::vector<std::int64_t> nonMaxSuppression(
    std::span<const NMSPrediction> predictions, float iouThreshold, std::int64_t maxBoxes);
/// Considers only the boxes at `indices`. Precondition: the indices lie within `predictions`.
[[nodiscard]] GEOLOOM_EXPORT std::vector<std::int64_t> nonMaxSuppression(
    std::span<const NMSPrediction> predictions, std::span<const std::int64_t> indices, float iouThreshold,
    std::int64_t maxBoxes);
[[nodiscard]] GEOLOOM_EXPORT std::vector<std::int64_t> nonMaxSuppression(
    std::span<const NMSPrediction> predictions, std::initializer_list<std::int64_t> indices,
    float iouThreshold, std::int64_t maxBoxes);
/// Suppresses each class separately among the boxes whose score exceeds `scoreThreshold`, and returns the
/// `maxTotal` best of all classes. Precondition: numClasses and maxTotal are not negative.
[[nodiscard]] GEOLOOM_EXPORT std::vector<std::int64_t> nonMaxSuppressionMultiClass(
    std::int64_t numClasses, std::span<const NMSPrediction> predictions, float scoreThreshold,
    float iouThreshold, std::int64_t maxPerClass, std::int64_t maxTotal);

/// A label and its probability.
using RankedLabel = std::pair<std::string, double>;

/// The `k` most probable labels, best first; equally probable ones in alphabetical order.
[[nodiscard]] GEOLOOM_EXPORT std::vector<RankedLabel> top(
    std::int64_t k, const std::unordered_map<std::string, double>& probabilities);

/// The first `k` observations of a classifier, whose results are ordered best first. Precondition: k is not
/// negative.
[[nodiscard]] GEOLOOM_EXPORT std::vector<RankedLabel> top(
    std::int64_t k, std::span<const std::shared_ptr<platform::VNClassificationObservation>> observations);

/// Index and value of the largest element, the first of equal ones. Precondition: `array` is not empty.
template <std::ranges::random_access_range Array>
[[nodiscard]] auto argmax(const Array& array) -> std::pair<std::int64_t, std::ranges::range_value_t<Array>> {
  const auto first = std::ranges::begin(array);
  const auto count = static_cast<std::int64_t>(std::ranges::size(array));
  GEOLOOM_REQUIRE(count > 0, "argmax: the array must not be empty");
  std::int64_t best = 0;
  for (std::int64_t i = 1; i < count; ++i) {
    if (first[best] < first[i]) best = i;
  }
  return {best, first[best]};
}

template <class Element>
[[nodiscard]] auto argmax(std::initializer_list<Element> array) -> std::pair<std::int64_t, Element> {
  return argmax(std::span(array.begin(), array.size()));
}

/// The indices that sort `array` by the predicate "a precedes b". Equal elements keep their order.
template <std::ranges::random_access_range Array, class Predicate>
[[nodiscard]] std::vector<std::int64_t> argsort(const Array& array, Predicate by) {
  std::vector<std::int64_t> indices(static_cast<std::size_t>(std::ranges::size(array)));
  std::iota(indices.begin(), indices.end(), std::int64_t{0});
  const auto first = std::ranges::begin(array);
  // Unlike std::sort, std::stable_sort stays within the array if the predicate is not a strict weak order.
  std::stable_sort(indices.begin(), indices.end(),
                   [&](std::int64_t a, std::int64_t b) { return std::invoke(by, first[a], first[b]); });
  return indices;
}

template <class Element, class Predicate>
[[nodiscard]] std::vector<std::int64_t> argsort(std::initializer_list<Element> array, Predicate by) {
  return argsort(std::span(array.begin(), array.size()), std::move(by));
}

/// The elements at `indices`, in that order. Precondition: every index lies within `array`.
template <std::ranges::random_access_range Array, std::ranges::input_range Indices>
[[nodiscard]] auto gather(const Array& array, const Indices& indices)
    -> std::vector<std::ranges::range_value_t<Array>> {
  const auto first = std::ranges::begin(array);
  const auto count = static_cast<std::int64_t>(std::ranges::size(array));
  std::vector<std::ranges::range_value_t<Array>> gathered;
  for (const std::int64_t index : indices) {
    GEOLOOM_REQUIRE(index >= 0 && index < count, "gather: an index lies outside the array");
    gathered.push_back(first[index]);
  }
  return gathered;
}

template <std::ranges::random_access_range Array>
[[nodiscard]] auto gather(const Array& array, std::initializer_list<std::int64_t> indices)
    -> std::vector<std::ranges::range_value_t<Array>> {
  return gather(array, std::span(indices.begin(), indices.size()));
}

}  // namespace geoloom
