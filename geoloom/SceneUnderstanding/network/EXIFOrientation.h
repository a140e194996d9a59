#pragma once

namespace geoloom {

/// How a stored picture is turned, by the values of the EXIF tag: the sides that row 0 and column 0 of the
/// stored picture have in the upright one.
enum class EXIFOrientation {
  topLeft = 1,
  topRight,
  bottomRight,
  bottomLeft,
  leftTop,
  rightTop,
  rightBottom,
  leftBottom,
};

}  // namespace geoloom
