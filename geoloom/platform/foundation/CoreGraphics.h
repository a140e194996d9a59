#pragma once

#include <cmath>

namespace geoloom::platform {

/// Plane geometry in double precision; the origin is at the top left, y grows downwards.
using CGFloat = double;

struct CGPoint {
  CGFloat x = 0;
  CGFloat y = 0;
  friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

struct CGSize {
  CGFloat width = 0;
  CGFloat height = 0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

/// A rectangle by its origin and size. A negative width or height extends towards smaller coordinates; the
/// operations below return the bounds with sizes that are not negative.
struct CGRect {
  CGPoint origin;
  CGSize size;

  [[nodiscard]] CGFloat width() const { return std::abs(size.width); }
  [[nodiscard]] CGFloat height() const { return std::abs(size.height); }
  [[nodiscard]] CGFloat minX() const { return size.width < 0 ? origin.x + size.width : origin.x; }
  [[nodiscard]] CGFloat minY() const { return size.height < 0 ? origin.y + size.height : origin.y; }
  [[nodiscard]] CGFloat maxX() const { return minX() + width(); }
  [[nodiscard]] CGFloat maxY() const { return minY() + height(); }
  friend bool operator==(const CGRect&, const CGRect&) = default;
};

}  // namespace geoloom::platform
