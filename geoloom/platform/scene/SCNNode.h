#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/scene/SCNGeometry.h"
#include "geoloom/platform/scene/SCNNodeSnapshot.h"
#include "geoloom/platform/scene/SCNQuaternion.h"
#include "geoloom/platform/scene/SCNVector3.h"

namespace geoloom::platform {

/// A place in a scene: its position, orientation and scale relative to its parent, what is drawn there, and
/// the nodes that go with it. Always held by std::shared_ptr; a parent owns its children.
///
/// Every operation may be called from any thread and is one whole edit: a snapshot sees all of it or nothing.
/// Edits cost the same however many nodes there are (attaching and detaching: on the average over many).
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
  /// Absent for a node that only holds others.
  [[nodiscard]] std::shared_ptr<const SCNGeometry> geometry() const;
  void setGeometry(std::shared_ptr<const SCNGeometry> geometry);

  /// Puts `child` behind the other children; if it is attached, here or elsewhere, it moves. Precondition:
  /// `child` is present and is neither this node nor above it.
  void addChildNode(const std::shared_ptr<SCNNode>& child);
  /// Does nothing to a node without a parent.
  void removeFromParentNode();

  [[nodiscard]] std::shared_ptr<SCNNode> parentNode() const;
  /// The children in the order in which they were added.
  [[nodiscard]] std::vector<std::shared_ptr<SCNNode>> childNodes() const;

  /// This node and everything below it as they are now. What did not change since an earlier snapshot is
  /// shared with it, so that the cost follows the number of changes.
  [[nodiscard]] SCNNodeSnapshot snapshot() const;

 private:
  struct Block;

  template <class Edit>
  void edit(Edit&& change);
  void markChanged();
  void append(std::shared_ptr<SCNNode> child);
  std::shared_ptr<SCNNode> detach();
  void compact();
  [[nodiscard]] SCNNodeSnapshot takeSnapshot() const;
  static void refresh(Block& block);

  // All guarded by the one lock of the scene graph (SCNNode.cpp).
  SCNNodeSnapshot values_;  ///< without the children
  std::vector<std::unique_ptr<Block>> blocks_;
  std::size_t childCount_ = 0;
  SCNNode* parent_ = nullptr;
  Block* block_ = nullptr;  ///< where the parent keeps this node
  std::size_t slot_ = 0;
};

}  // namespace geoloom::platform
