#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace geoloom {

/// The median of a list: the middle element, or (a + b) * 0.5F of the middle two. The order is total, so that
/// every list has one result: -0 stands before 0, NaN last. Precondition: `values` is not empty.
[[nodiscard]] float median(std::vector<float> values);
/// The same; sorts `values`.
[[nodiscard]] float medianInPlace(std::span<float> values);

/// The median of all values so far, at the cost of a logarithm a value: bit for bit what median() gives for
/// the list.
class RunningMedian {
 public:
  void insert(float value);
  /// Precondition: a value was inserted.
  [[nodiscard]] float value() const;

 private:
  std::vector<float>
      lower_;  ///< heap with its largest on top: the lower half, and the middle of an odd count
  std::vector<float> upper_;  ///< heap with its smallest on top
};

}  // namespace geoloom
