#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/SceneUnderstanding/track/TrackedObject.h"
#include "geoloom/platform/scene/SCNScene.h"

namespace geoloom {

/// The objects observed so far. An observation is matched to the first object, in order of creation, that has
/// its class and overlaps it; otherwise it becomes a new object. Objects are never removed. Not thread-safe:
/// only the detector's queue uses it.
class SemanticNetwork {
 public:
  /// Number of objects created so far; the id of the next one.
  [[nodiscard]] std::int64_t totalTrackedObjectCount() const;
  /// In order of creation, so an object's id is its index.
  [[nodiscard]] const std::vector<std::shared_ptr<TrackedObject>>& trackedObjects() const {
    return trackedObjects_;
  }
  /// All edge lines drawn so far, by key "<id>|<id>", including those that are not in the scene now.
  [[nodiscard]] std::map<std::string, std::shared_ptr<platform::SCNNode>> visualEdges() const;

  /// Adds one located object. With a scene and `drawBoxes`, the matched object is drawn again. All other
  /// objects that the observation overlaps lose their drawing. `confidence` is only displayed.
  void observe(const std::string& name, double confidence, const BoundingBox3D& bbox,
               const std::shared_ptr<platform::SCNScene>& scene, bool drawBoxes);

  /// Draws a purple line for every ordered pair of visible objects that were each matched at least five times
  /// and whose centres are at most a metre apart, including the pair of an object with itself. Removes the
  /// lines of other pairs from the scene.
  void drawVisualEdges(platform::SCNScene& scene);

 private:
  using IDs = std::pair<std::int64_t, std::int64_t>;

  std::vector<std::shared_ptr<TrackedObject>> trackedObjects_;
  std::map<IDs, std::shared_ptr<platform::SCNNode>> visualEdges_;
};

/// True if two boxes share volume: on each axis the sum of their extents exceeds the extent of their hull,
/// in single precision. Boxes that only touch do not overlap.
[[nodiscard]] bool overlaps(const BoundingBox3D& a, const BoundingBox3D& b);

}  // namespace geoloom
