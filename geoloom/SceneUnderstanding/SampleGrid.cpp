#include "geoloom/SceneUnderstanding/SampleGrid.h"

namespace geoloom {

platform::CGRect screenRect(const BoundingBox2& box, double screenWidth, double screenHeight) {
  return {{screenWidth * box.xMin, (screenHeight - screenWidth) * 0.5 + screenWidth * box.yMin},
          {screenWidth * (box.xMax - box.xMin), screenWidth * (box.yMax - box.yMin)}};
}

platform::CGRect imageRect(const platform::CGRect& screenRect, double screenWidth, double screenHeight) {
  return {{screenRect.minY() / screenHeight, 1 - screenRect.maxX() / screenWidth},
          {screenRect.height() / screenHeight, screenRect.width() / screenWidth}};
}

void forEachSample(const platform::CGRect& rect, const std::function<void(platform::CGPoint)>& visit) {
  const double stepX = rect.width() / 5;
  const double stepY = rect.height() / 5;
  // Also what is so small that its fifth is zero: such a walk would not end.
  if (!(stepX > 0) || !(stepY > 0)) return;
  const double startX = rect.minX() + stepX;
  const double startY = rect.minY() + stepY;
  for (int i = 0; startX + i * stepX < rect.maxX(); ++i) {
    for (int j = 0; startY + j * stepY < rect.maxY(); ++j) visit({startX + i * stepX, startY + j * stepY});
  }
}

}  // namespace geoloom
