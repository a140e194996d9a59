#pragma once

namespace geoloom::platform {

/// How a stored picture is turned for viewing, by the values of the EXIF tag. Each name gives the side of the
/// upright picture that row 0 of the stored one shows, and then the side that column 0 shows.
enum class EXIFOrientation {
  topLeft = 1,
  topRight,
  bottomRight,
  bottomLeft,
  leftTop,
  rightTop,  ///< turned 90 degrees clockwise for viewing
  rightBottom,
  leftBottom,
};

}  // namespace geoloom::platform
