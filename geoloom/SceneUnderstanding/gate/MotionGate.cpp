#include "geoloom/SceneUnderstanding/gate/MotionGate.h"

#include <algorithm>
#include <cmath>

namespace geoloom {
namespace {

using platform::simd_float3;

constexpr float LEAST_STEP = 0.001F;

bool isLongEnough(const simd_float3& v) {
  return std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z) > LEAST_STEP;
}

}  // namespace

simd_float3 MotionHistory::meanStepAfter(const simd_float3& value) {
  std::rotate(last_.begin(), last_.begin() + 1, last_.end());
  last_.back() = value;
  if (count_ < 5) ++count_;
  if (count_ < 5) return {};
  simd_float3 sum;
  for (std::size_t i = 1; i < last_.size(); ++i) {
    sum.x += last_[i].x - last_[i - 1].x;
    sum.y += last_[i].y - last_[i - 1].y;
    sum.z += last_[i].z - last_[i - 1].z;
  }
  return {sum.x / 4, sum.y / 4, sum.z / 4};
}

bool MotionGate::hasMoved(const simd_float3& position, const simd_float3& eulerAngles) {
  const simd_float3 shift = positions_.meanStepAfter(position);
  const simd_float3 turn = angles_.meanStepAfter(eulerAngles);
  return isLongEnough(shift) || isLongEnough(turn);
}

}  // namespace geoloom
