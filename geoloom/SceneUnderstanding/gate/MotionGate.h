#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "geoloom/platform/foundation/simd.h"

namespace geoloom {

/// The last values of a moving quantity.
class MotionHistory {
 public:
  /// Appends `value`. Returns the sum of the three steps between the last four values, divided by 4, in
  /// single precision; zero before the fifth value.
  [[nodiscard]] platform::simd_float3 meanStepAfter(const platform::simd_float3& value);

  /// The last values, at most four, oldest first.
  [[nodiscard]] std::span<const platform::simd_float3> values() const {
    return std::span(last_).last(std::min(count_, last_.size()));
  }

 private:
  std::array<platform::simd_float3, 4> last_{};  ///< oldest first
  std::size_t count_ = 0;                        ///< at most 5
};

/// Open while the camera moves by more than about a millimetre or a milliradian per frame. Needs the pose of
/// every frame, also of those that are not analysed. Use it on one thread at a time.
class MotionGate {
 public:
  /// `position` in metres, `eulerAngles` in radians.
  [[nodiscard]] bool hasMoved(const platform::simd_float3& position,
                              const platform::simd_float3& eulerAngles);

  [[nodiscard]] std::span<const platform::simd_float3> positions() const { return positions_.values(); }
  [[nodiscard]] std::span<const platform::simd_float3> angles() const { return angles_.values(); }

 private:
  MotionHistory positions_;
  MotionHistory angles_;
};

}  // namespace geoloom
