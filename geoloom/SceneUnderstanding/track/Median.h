#pragma once

#include <span>
#include <vector>

namespace geoloom {

/// The median of a list: the middle element, or (a + b) * 0.5F of the middle two. Values are ordered as by
/// std::strong_order, so -0 precedes 0 and a positive NaN comes last. Precondition: `values` is not empty.
[[nodiscard]] float median(std::vector<float> values);

/// A sorted list of values, whose median needs no sorting.
class SortedValues {
 public:
  void insert(float value);
  /// Precondition: `value` was inserted.
  void remove(float value);
  /// Equals median() of the values, bit for bit. Precondition: there is a value.
  [[nodiscard]] float median() const;

 private:
  std::vector<float> values_;
};

}  // namespace geoloom
