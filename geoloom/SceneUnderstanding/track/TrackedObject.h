#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/SceneUnderstanding/locate/BoundingBox3D.h"
#include "geoloom/SceneUnderstanding/track/Median.h"
#include "geoloom/platform/scene/SCNNode.h"

namespace geoloom {

/// One real object that was seen, over all frames: its class, a number that stays, and the current estimate
/// of its box. Changed by its SemanticNetwork only, on the thread that the network is used on.
class TrackedObject {
 public:
  TrackedObject(std::string objectClass, std::int64_t id, const BoundingBox3D& bbox);

  [[nodiscard]] const std::string& objectClass() const { return objectClass_; }
  [[nodiscard]] std::int64_t id() const { return id_; }
  /// Its drawing is in the scene.
  [[nodiscard]] bool isVisible() const { return isVisible_; }
  /// True of persons: their estimate follows their last four observations, that of other classes all of them.
  [[nodiscard]] bool mayMove() const { return mayMove_; }
  /// The boxes of the observations matched to it, oldest first; the box that it was created with is not among
  /// them.
  [[nodiscard]] const std::vector<BoundingBox3D>& previousBBoxes() const { return previousBBoxes_; }
  [[nodiscard]] std::int64_t seenFrames() const { return seenFrames_; }
  /// Always 0: nothing counts absences yet.
  [[nodiscard]] std::int64_t notSeenFrames() const { return notSeenFrames_; }
  [[nodiscard]] const BoundingBox3D& smoothBBox() const { return smoothBBox_; }
  /// The nodes of its last drawing.
  [[nodiscard]] const std::vector<std::shared_ptr<platform::SCNNode>>& visualNodes() const {
    return visualNodes_;
  }

  /// Makes every field of smoothBBox the median of that field over previousBBoxes. Precondition: there is
  /// one.
  void updateSmoothBBox();

 private:
  friend class SemanticNetwork;
  void match(const BoundingBox3D& bbox);
  void hide();
  void show(std::vector<std::shared_ptr<platform::SCNNode>> nodes);

  std::string objectClass_;
  std::int64_t id_;
  bool isVisible_ = false;
  bool mayMove_;
  std::vector<BoundingBox3D> previousBBoxes_;
  std::int64_t seenFrames_ = 0;
  std::int64_t notSeenFrames_ = 0;
  BoundingBox3D smoothBBox_;
  std::vector<std::shared_ptr<platform::SCNNode>> visualNodes_;
  std::array<RunningMedian, 6> medians_;  ///< over the whole history, field by field; empty for what may move
};

}  // namespace geoloom
