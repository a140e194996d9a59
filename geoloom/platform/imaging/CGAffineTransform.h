#pragma once

#include "geoloom/platform/foundation/CoreGraphics.h"

namespace geoloom::platform {

/// x' = a·x + tx, y' = d·y + ty: scales, mirrors and shifts along the axes. It does not rotate; quarter turns
/// are in the orientation of a UIImage.
struct CGAffineTransform {
  CGFloat a = 1;
  CGFloat d = 1;
  CGFloat tx = 0;
  CGFloat ty = 0;
  friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;

  [[nodiscard]] CGPoint apply(const CGPoint& point) const { return {a * point.x + tx, d * point.y + ty}; }
  /// The result has a size that is not negative.
  [[nodiscard]] CGRect apply(const CGRect& rect) const {
    const CGPoint one = apply(CGPoint{rect.minX(), rect.minY()});
    const CGPoint other = apply(CGPoint{rect.maxX(), rect.maxY()});
    return {{std::fmin(one.x, other.x), std::fmin(one.y, other.y)},
            {std::abs(other.x - one.x), std::abs(other.y - one.y)}};
  }
  /// The transform that applies this one first and `then` second.
  [[nodiscard]] CGAffineTransform concatenated(const CGAffineTransform& then) const {
    return {a * then.a, d * then.d, tx * then.a + then.tx, ty * then.d + then.ty};
  }
};

[[nodiscard]] constexpr CGAffineTransform CGAffineTransformMakeScale(CGFloat sx, CGFloat sy) {
  return {sx, sy, 0, 0};
}
[[nodiscard]] constexpr CGAffineTransform CGAffineTransformMakeTranslation(CGFloat tx, CGFloat ty) {
  return {1, 1, tx, ty};
}

}  // namespace geoloom::platform
