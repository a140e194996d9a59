#include "geoloom/SceneUnderstanding/locate/SampleGrid.h"

namespace geoloom {

platform::CGRect screenRect(const BoundingBox2& box, double screenWidth, double screenHeight) {
  return {{screenWidth * box.xMin, (screenHeight - screenWidth) * 0.5 + screenWidth * box.yMin},
          {screenWidth * (box.xMax - box.xMin), screenWidth * (box.yMax - box.yMin)}};
}

platform::CGRect imageRect(const platform::CGRect& screenRect, double screenWidth, double screenHeight) {
  return {{screenRect.minY() / screenHeight, 1 - screenRect.maxX() / screenWidth},
          {screenRect.height() / screenHeight, screenRect.width() / screenWidth}};
}

}  // namespace geoloom
