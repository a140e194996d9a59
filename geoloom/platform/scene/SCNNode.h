#pragma once

#include <list>
#include <memory>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/scene/SCNGeometry.h"
#include "geoloom/platform/scene/SCNNodeSnapshot.h"
#include "geoloom/platform/scene/SCNQuaternion.h"
#include "geoloom/platform/scene/SCNVector3.h"

namespace geoloom::platform {

/// A node of a scene: position, orientation and scale relative to its parent, geometry, and child nodes.
/// Always held by std::shared_ptr; a parent owns its children.
///
/// May be used from any thread. Every operation is atomic: a snapshot contains all of its effect or none.
/// Changes take constant time, a snapshot time proportional to the number of nodes.
class GEOLOOM_EXPORT SCNNode final : public NSObject {
 public:
  SCNNode();
  explicit SCNNode(std::shared_ptr<const SCNGeometry> geometry);
  ~SCNNode() override;

  /// Metres, in the parent's coordinates.
  [[nodiscard]] SCNVector3 position() const;
  void setPosition(SCNVector3 position);
  [[nodiscard]] SCNQuaternion orientation() const;
  void setOrientation(SCNQuaternion orientation);
  [[nodiscard]] SCNVector3 scale() const;
  void setScale(SCNVector3 scale);
  /// Null for a node without a shape.
  [[nodiscard]] std::shared_ptr<const SCNGeometry> geometry() const;
  void setGeometry(std::shared_ptr<const SCNGeometry> geometry);

  /// Detaches `child` from its parent and appends it to the children of this node. Precondition: `child` is
  /// not null, not this node and not an ancestor of it.
  void addChildNode(const std::shared_ptr<SCNNode>& child);
  /// Does nothing without a parent.
  void removeFromParentNode();

  [[nodiscard]] std::shared_ptr<SCNNode> parentNode() const;
  /// The children in the order in which they were added.
  [[nodiscard]] std::vector<std::shared_ptr<SCNNode>> childNodes() const;

  /// A copy of this node and its descendants.
  [[nodiscard]] SCNNodeSnapshot snapshot() const;

 private:
  using Children = std::list<std::shared_ptr<SCNNode>>;

  [[nodiscard]] SCNNodeSnapshot copy() const;

  // Guarded by the lock of the scene graph (SCNNode.cpp).
  SCNNodeSnapshot values_;  ///< without the children
  Children children_;
  SCNNode* parent_ = nullptr;
  Children::iterator place_;  ///< in the parent's children, if there is a parent
};

}  // namespace geoloom::platform
