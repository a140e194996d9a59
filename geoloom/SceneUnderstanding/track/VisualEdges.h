#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "geoloom/SceneUnderstanding/track/BoxIndex.h"
#include "geoloom/platform/scene/SCNScene.h"

namespace geoloom {

/// The lines between objects that stand within a metre of each other, one for each direction and one from
/// each object to itself. Objects go by their number, which is their place in the list.
///
/// What is drawn is what a walk over all ordered pairs would draw, order of nodes included; the work is what
/// changed since the last drawing, its neighbours, and one visit to every line that is shown.
class VisualEdges {
 public:
  using Number = BoxIndex::Item;

  /// From now on `object` is joined to others and stands there; without a place, or with one that is not
  /// finite, it is joined to none. Shows at the next drawing.
  void place(Number object, std::optional<platform::SCNVector3> center);

  /// Lines that no longer hold leave their parent and are kept for reuse; the others are attached to the
  /// scene's root again, behind all other nodes, in ascending order of (from, to).
  void draw(platform::SCNScene& scene);

  /// Every line ever drawn, by "<from>|<to>", attached or not.
  [[nodiscard]] std::map<std::string, std::shared_ptr<platform::SCNNode>> nodes() const;

 private:
  struct Line {
    Number to;
    std::shared_ptr<platform::SCNNode> node;
    bool isDrawn = false;
    platform::SCNVector3 start{};
    platform::SCNVector3 end{};
  };
  struct Object {
    std::optional<platform::SCNVector3> center;   ///< where it is to be
    std::optional<platform::SCNVector3> indexed;  ///< where the index has it
    std::vector<Line> lines;                      ///< ascending
    bool hasChanged = false;
  };

  void reindex(Number object);
  void relink(Number object);
  void collectNeighbours(const platform::SCNVector3& center, std::vector<Number>& neighbours) const;
  void link(Number from, Number to);
  void unlink(Number from, Number to);

  std::vector<Object> objects_;
  std::vector<Number> changed_;
  std::vector<Number> joined_;  ///< objects that have lines, ascending
  BoxIndex centers_{1};
  std::unordered_map<std::uint64_t, std::shared_ptr<platform::SCNNode>> nodes_;
  std::vector<Number> neighbours_;  ///< scratch of relink
};

}  // namespace geoloom
