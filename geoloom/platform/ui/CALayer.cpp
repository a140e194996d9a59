#include "geoloom/platform/ui/CALayer.h"

#include <utility>

namespace geoloom::platform {

CALayer::~CALayer() = default;
CAShapeLayer::~CAShapeLayer() = default;
CATextLayer::~CATextLayer() = default;

void CALayer::addSublayer(std::shared_ptr<CALayer> layer) {
  const base::MutexLock lock(mutex_);
  sublayers_.push_back(std::move(layer));
}

std::vector<std::shared_ptr<CALayer>> CALayer::sublayers() const {
  const base::MutexLock lock(mutex_);
  return sublayers_;
}

}  // namespace geoloom::platform
