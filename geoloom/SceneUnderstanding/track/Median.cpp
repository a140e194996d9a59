#include "geoloom/SceneUnderstanding/track/Median.h"

#include <algorithm>
#include <cmath>

#include "geoloom/base/Precondition.h"

namespace geoloom {
namespace {

bool ascending(float a, float b) {
  if (a < b) return true;
  if (a > b) return false;
  if (a == b) return std::signbit(a) && !std::signbit(b);
  return !std::isnan(a) && std::isnan(b);
}

bool descending(float a, float b) {
  return ascending(b, a);
}

void push(std::vector<float>& heap, float value, bool (*order)(float, float)) {
  heap.push_back(value);
  std::push_heap(heap.begin(), heap.end(), order);
}

float pop(std::vector<float>& heap, bool (*order)(float, float)) {
  std::pop_heap(heap.begin(), heap.end(), order);
  const float top = heap.back();
  heap.pop_back();
  return top;
}

}  // namespace

float median(std::vector<float> values) {
  return medianInPlace(values);
}

float medianInPlace(std::span<float> values) {
  GEOLOOM_PRECONDITION(!values.empty(), "median: the list must not be empty");
  std::sort(values.begin(), values.end(), ascending);
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) * 0.5F;
}

void RunningMedian::insert(float value) {
  if (lower_.empty() || !ascending(lower_.front(), value)) {
    push(lower_, value, ascending);
    if (lower_.size() > upper_.size() + 1) push(upper_, pop(lower_, ascending), descending);
  } else {
    push(upper_, value, descending);
    if (upper_.size() > lower_.size()) push(lower_, pop(upper_, descending), ascending);
  }
}

float RunningMedian::value() const {
  GEOLOOM_PRECONDITION(!lower_.empty(), "RunningMedian: no value yet");
  return lower_.size() > upper_.size() ? lower_.front() : (lower_.front() + upper_.front()) * 0.5F;
}

}  // namespace geoloom
