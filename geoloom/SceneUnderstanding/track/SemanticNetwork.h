#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/SceneUnderstanding/track/BoxIndex.h"
#include "geoloom/SceneUnderstanding/track/TrackedObject.h"
#include "geoloom/SceneUnderstanding/track/VisualEdges.h"
#include "geoloom/platform/scene/SCNScene.h"

namespace geoloom {

/// The objects seen so far. An observation is matched to the first object, in order of creation, that is of
/// the same class and overlaps it, or becomes a new object; objects are never forgotten. Not thread-safe: the
/// detector's queue uses it.
///
/// The cost of an observation follows the number of objects that stand where it is; it does not grow with
/// those elsewhere nor with an object's history (but for a logarithm).
class SemanticNetwork {
 public:
  SemanticNetwork();
  ~SemanticNetwork();
  SemanticNetwork(const SemanticNetwork&) = delete;
  SemanticNetwork& operator=(const SemanticNetwork&) = delete;

  /// Number of objects ever created; the next one's id.
  [[nodiscard]] std::int64_t totalTrackedObjectCount() const;
  /// In order of creation, so that an object's id is its place.
  [[nodiscard]] const std::vector<std::shared_ptr<TrackedObject>>& trackedObjects() const {
    return trackedObjects_;
  }
  /// Every edge line ever drawn, by "<id>|<id>", whether or not it is in a scene now.
  [[nodiscard]] std::map<std::string, std::shared_ptr<platform::SCNNode>> visualEdges() const {
    return edges_.nodes();
  }

  /// Takes in one located object. With a scene and `drawBoxes`, the matched object is drawn again; every
  /// other object that the observation overlaps loses its drawing. `confidence` is only shown.
  void observe(const std::string& name, double confidence, const BoundingBox3D& bbox,
               const std::shared_ptr<platform::SCNScene>& scene, bool drawBoxes);

  /// Joins drawn objects that were seen at least five times and stand within a metre of each other, each with
  /// itself too, by purple lines, attached in order of the objects behind all other nodes; other lines leave
  /// the scene.
  void drawVisualEdges(platform::SCNScene& scene);

 private:
  using Number = BoxIndex::Item;

  void findNear(const BoundingBox3D& bbox);
  void match(Number number, const BoundingBox3D& bbox);
  void create(const std::string& name, const BoundingBox3D& bbox);
  void placeInEdges(Number number);

  std::vector<std::shared_ptr<TrackedObject>> trackedObjects_;
  BoxIndex boxes_;  ///< the smoothed boxes of those objects that can overlap anything
  VisualEdges edges_;
  std::vector<Number> near_;  ///< scratch of observe
};

/// Whether two boxes share volume: on every axis their extents together are longer than the hull of both, in
/// single precision, so that boxes which only touch do not.
[[nodiscard]] bool overlaps(const BoundingBox3D& a, const BoundingBox3D& b);

}  // namespace geoloom
