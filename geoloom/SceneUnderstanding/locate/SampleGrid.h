#pragma once

#include "geoloom/SceneUnderstanding/boxes/Prediction.h"
#include "geoloom/platform/foundation/CoreGraphics.h"

/// How a box of the network's input lies on the screen and in the captured image. The screen is upright, the
/// captured image lies on its side: its top edge is at the screen's right.
namespace geoloom {

/// Points, origin at the top left: the square input spans the view's width and is centred vertically.
[[nodiscard]] platform::CGRect screenRect(const BoundingBox2& box, double screenWidth, double screenHeight);

/// A rectangle of the screen in coordinates of the captured image, (0, 0) being its top left corner and (1,
/// 1) its bottom right one.
[[nodiscard]] platform::CGRect imageRect(const platform::CGRect& screenRect, double screenWidth,
                                         double screenHeight);

/// Visits the points at every fifth of a rectangle inside its bounds, column by column: usually 4 x 4, five
/// along an axis whose far bound lies above the fifth point by rounding. Each coordinate is start + k * step.
/// None where the rectangle has no size or holds what is not a number.
template <class Visit>
void forEachSample(const platform::CGRect& rect, Visit&& visit) {
  const double stepX = rect.width() / 5;
  const double stepY = rect.height() / 5;
  // Also what is so small that its fifth is zero: such a walk would not end.
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
