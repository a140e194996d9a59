#pragma once

#include <cstddef>
#include <vector>

#include "geoloom/SceneUnderstanding/draw/BoundingBox.h"
#include "geoloom/base/Mutex.h"

namespace geoloom {

/// The boxes of the 2D overlay. Set up on the application's thread, hidden on the main queue.
class BoundingBoxPool {
 public:
  static constexpr std::size_t SIZE = 100;

  /// Adds another `SIZE` hidden boxes to `layer`.
  void setUp(platform::CALayer& layer);
  /// Hides the first `SIZE` boxes.
  void hide() const;
  [[nodiscard]] std::vector<BoundingBox> boxes() const;

 private:
  mutable base::Mutex mutex_;
  std::vector<BoundingBox> boxes_ GEOLOOM_GUARDED_BY(mutex_);
};

}  // namespace geoloom
