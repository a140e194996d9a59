#include "geoloom/SceneUnderstanding/boxes/Prediction.h"

#include <cmath>

namespace geoloom {

BoundingBox2 Prediction::decodeBoundingBox() const {
  const double anchorHeight = anchor.yMax - anchor.yMin;
  const double anchorWidth = anchor.xMax - anchor.xMin;
  const double anchorY = (anchor.yMin + anchor.yMax) * 0.5;
  const double anchorX = (anchor.xMin + anchor.xMax) * 0.5;

  const double centreY = anchorY + anchorHeight * (anchorEncoding.ty / 10);
  const double centreX = anchorX + anchorWidth * (anchorEncoding.tx / 10);
  const double height = anchorHeight * std::exp(anchorEncoding.th / 5);
  const double width = anchorWidth * std::exp(anchorEncoding.tw / 5);
  return {
      centreY - height * 0.5, centreX - width * 0.5, centreY + height * 0.5, centreX + width * 0.5, 300, 300};
}

}  // namespace geoloom
