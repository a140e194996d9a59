#include "geoloom/SceneUnderstanding/draw/BoundingBoxPool.h"

#include <algorithm>

namespace geoloom {

void BoundingBoxPool::setUp(platform::CALayer& layer) {
  const base::MutexLock lock(mutex_);
  for (std::size_t i = 0; i < SIZE; ++i) {
    boxes_.emplace_back();
    boxes_.back().addToLayer(layer);
  }
}

void BoundingBoxPool::hide() const {
  const base::MutexLock lock(mutex_);
  for (std::size_t i = 0; i < std::min(SIZE, boxes_.size()); ++i) boxes_[i].hide();
}

std::vector<BoundingBox> BoundingBoxPool::boxes() const {
  const base::MutexLock lock(mutex_);
  return boxes_;
}

}  // namespace geoloom
