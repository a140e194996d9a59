#pragma once

#include <memory>

#include "geoloom/platform/ui/CALayer.h"

namespace geoloom {

/// One box of the 2D overlay on the application's view: an outline and a label, both initially hidden.
class BoundingBox {
 public:
  BoundingBox();

  /// Adds the outline, then the label above it.
  void addToLayer(platform::CALayer& parent) const;
  void hide() const;

  const std::shared_ptr<platform::CAShapeLayer> shapeLayer;
  const std::shared_ptr<platform::CATextLayer> textLayer;
};

}  // namespace geoloom
