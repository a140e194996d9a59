#pragma once

#include "geoloom/SceneUnderstanding/boxes/Prediction.h"
#include "geoloom/platform/foundation/CoreGraphics.h"

/// Maps a box of the network's input to the screen and to the captured image. The screen is in portrait
/// orientation. The captured image is in landscape: its top edge is at the right of the screen.
namespace geoloom {

/// In points, origin at the top left. The square input spans the view's width and is centred vertically.
[[nodiscard]] platform::CGRect screenRect(const BoundingBox2& box, double screenWidth, double screenHeight);

/// A rectangle of the screen in normalised coordinates of the captured image: (0, 0) is its top left corner,
/// (1, 1) its bottom right.
[[nodiscard]] platform::CGRect imageRect(const platform::CGRect& screenRect, double screenWidth,
                                         double screenHeight);

/// Calls `visit` for points at one to four fifths of a rectangle on both axes, column by column: usually
/// 4 x 4, but five along an axis if rounding puts the fifth point below the far bound. Each coordinate is
/// computed as start + k * step. Visits nothing if a size is zero, negative or NaN.
template <class Visit>
void forEachSample(const platform::CGRect& rect, Visit&& visit) {
  const double stepX = rect.width() / 5;
  const double stepY = rect.height() / 5;
  // If the fifth of a tiny size were zero, the loop would be endless.
  if (!(stepX > 0) || !(stepY > 0)) return;
  const double startX = rect.minX() + stepX;
  const double startY = rect.minY() + stepY;
  for (int i = 0; startX + i * stepX < rect.maxX(); ++i) {
    for (int j = 0; startY + j * stepY < rect.maxY(); ++j) {
      visit(platform::CGPoint{startX + i * stepX, startY + j * stepY});
    }
  }
}

}  // namespace geoloom
