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

/// A real object that was observed in one or more frames: its class, a permanent id and the current estimate
/// of its box. Only its SemanticNetwork changes it, on the thread that uses the network.
class TrackedObject {
 public:
  TrackedObject(std::string objectClass, std::int64_t id, const BoundingBox3D& bbox);

  [[nodiscard]] const std::string& objectClass() const { return objectClass_; }
  [[nodiscard]] std::int64_t id() const { return id_; }
  /// True while its drawing is in the scene.
  [[nodiscard]] bool isVisible() const { return isVisible_; }
  /// True for persons. Their box is the median of the last four observations, that of other objects of all.
  [[nodiscard]] bool mayMove() const { return mayMove_; }
  /// The boxes of the observations matched to it, oldest first, without the box it was created with.
  [[nodiscard]] const std::vector<BoundingBox3D>& previousBBoxes() const { return previousBBoxes_; }
  [[nodiscard]] std::int64_t seenFrames() const { return seenFrames_; }
  /// Always 0: absences are not counted yet.
  [[nodiscard]] std::int64_t notSeenFrames() const { return notSeenFrames_; }
  [[nodiscard]] const BoundingBox3D& smoothBBox() const { return smoothBBox_; }
  /// The nodes of its last drawing.
  [[nodiscard]] const std::vector<std::shared_ptr<platform::SCNNode>>& visualNodes() const {
    return visualNodes_;
  }

  /// Sets every field of smoothBBox to the median of that field over previousBBoxes. Precondition:
  /// previousBBoxes is not empty.
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
  std::array<SortedValues, 6> sortedFields_;  ///< the fields of previousBBoxes
};

}  // namespace geoloom
