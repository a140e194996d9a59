#include "geoloom/SceneUnderstanding/draw/BoundingBox.h"

#include "geoloom/platform/ui/UIScreen.h"

namespace geoloom {

BoundingBox::BoundingBox()
    : shapeLayer(std::make_shared<platform::CAShapeLayer>()),
      textLayer(std::make_shared<platform::CATextLayer>()) {
  shapeLayer->fillColor = platform::UIColor::clearColor();
  shapeLayer->lineWidth = 3;
  textLayer->contentsScale = platform::UIScreen::mainScale();
  textLayer->fontSize = 16;
  textLayer->font = {"Avenir", textLayer->fontSize};
  textLayer->alignmentMode = platform::TextAlignment::center;
  hide();
}

void BoundingBox::addToLayer(platform::CALayer& parent) const {
  parent.addSublayer(shapeLayer);
  parent.addSublayer(textLayer);
}

void BoundingBox::hide() const {
  shapeLayer->setHidden(true);
  textLayer->setHidden(true);
}

}  // namespace geoloom
