#include "geoloom/SceneUnderstanding/track/Median.h"

#include <algorithm>
#include <compare>

#include "geoloom/base/Precondition.h"

namespace geoloom {
namespace {

bool precedes(float a, float b) {
  return std::is_lt(std::strong_order(a, b));
}

float medianOfSorted(std::span<const float> values) {
  GEOLOOM_PRECONDITION(!values.empty(), "median: the list must not be empty");
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) * 0.5F;
}

}  // namespace

float median(std::vector<float> values) {
  std::sort(values.begin(), values.end(), precedes);
  return medianOfSorted(values);
}

void SortedValues::insert(float value) {
  values_.insert(std::upper_bound(values_.begin(), values_.end(), value, precedes), value);
}

void SortedValues::remove(float value) {
  const auto at = std::lower_bound(values_.begin(), values_.end(), value, precedes);
  GEOLOOM_PRECONDITION(at != values_.end() && !precedes(value, *at),
                       "SortedValues: the value was not inserted");
  values_.erase(at);
}

float SortedValues::median() const {
  return medianOfSorted(values_);
}

}  // namespace geoloom
