#pragma once

#include <memory>

#include "geoloom/platform/ui/CALayer.h"

namespace geoloom {

/// One box of the 2D overlay on the application's view: an outline and its label, both hidden at first.
class BoundingBox {
 public:
  BoundingBox();

  /// The outline, then the label on top of it.
  void addToLayer(platform::CALayer& parent) const;
  void hide() const;

  const std::shared_ptr<platform::CAShapeLayer> shapeLayer;
  const std::shared_ptr<platform::CATextLayer> textLayer;
};

}  // namespace geoloom
