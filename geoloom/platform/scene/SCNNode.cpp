#include "geoloom/platform/scene/SCNNode.h"

#include <mutex>
#include <utility>

#include "geoloom/base/Precondition.h"

namespace geoloom::platform {
namespace {

/// One lock for all nodes, so that moving a node between scenes needs no lock order. Held during single edits
/// and while a snapshot copies changed blocks, never while application code runs.
std::mutex graphMutex;

constexpr std::size_t BLOCK_SIZE = 64;

}  // namespace

/// A block of children. A removed child leaves its slot empty, so that no other child moves.
struct SCNNode::Block {
  std::vector<std::shared_ptr<SCNNode>> slots;
  /// Shared by snapshots; null since the last change of a child or a descendant. If it is null here, it is
  /// null in all blocks above.
  std::shared_ptr<const SCNNodeSnapshot::Block> snapshot;
};

SCNNode::SCNNode() = default;

SCNNode::SCNNode(std::shared_ptr<const SCNGeometry> geometry) {
  values_.geometry = std::move(geometry);
}

SCNNode::~SCNNode() {
  if (blocks_.empty()) return;
  const std::lock_guard lock(graphMutex);
  for (const auto& block : blocks_) {
    for (const auto& child : block->slots) {
      if (child) child->parent_ = nullptr;
    }
  }
}

template <class Edit>
void SCNNode::edit(Edit&& change) {
  const std::lock_guard lock(graphMutex);
  change();
  markChanged();
}

void SCNNode::markChanged() {
  for (SCNNode* node = this; node->parent_ != nullptr && node->block_->snapshot; node = node->parent_) {
    node->block_->snapshot.reset();
  }
}

SCNVector3 SCNNode::position() const {
  const std::lock_guard lock(graphMutex);
  return values_.position;
}

void SCNNode::setPosition(SCNVector3 position) {
  edit([&] { values_.position = position; });
}

SCNQuaternion SCNNode::orientation() const {
  const std::lock_guard lock(graphMutex);
  return values_.orientation;
}

void SCNNode::setOrientation(SCNQuaternion orientation) {
  edit([&] { values_.orientation = orientation; });
}

SCNVector3 SCNNode::scale() const {
  const std::lock_guard lock(graphMutex);
  return values_.scale;
}

void SCNNode::setScale(SCNVector3 scale) {
  edit([&] { values_.scale = scale; });
}

std::shared_ptr<const SCNGeometry> SCNNode::geometry() const {
  const std::lock_guard lock(graphMutex);
  return values_.geometry;
}

void SCNNode::setGeometry(std::shared_ptr<const SCNGeometry> geometry) {
  edit([&] { values_.geometry.swap(geometry); });
}

void SCNNode::addChildNode(const std::shared_ptr<SCNNode>& child) {
  GEOLOOM_PRECONDITION(child != nullptr, "addChildNode: the child must not be null");
  const std::lock_guard lock(graphMutex);
  for (const SCNNode* above = this; above != nullptr; above = above->parent_) {
    GEOLOOM_PRECONDITION(above != child.get(), "addChildNode: a node cannot be its own descendant");
  }
  auto detached = child->detach();
  if (!detached) detached = child;
  append(std::move(detached));
}

void SCNNode::removeFromParentNode() {
  // The parent may hold the last reference, which must not be released under the lock.
  std::shared_ptr<SCNNode> self;
  const std::lock_guard lock(graphMutex);
  self = detach();
}

void SCNNode::append(std::shared_ptr<SCNNode> child) {
  if (blocks_.empty() || blocks_.back()->slots.size() == BLOCK_SIZE) {
    blocks_.push_back(std::make_unique<Block>());
    blocks_.back()->slots.reserve(BLOCK_SIZE);
  }
  Block& last = *blocks_.back();
  child->parent_ = this;
  child->block_ = &last;
  child->slot_ = last.slots.size();
  last.slots.push_back(std::move(child));
  last.snapshot.reset();
  ++childCount_;
  markChanged();
}

/// Returns the parent's reference to this node; null without a parent.
std::shared_ptr<SCNNode> SCNNode::detach() {
  SCNNode* const parent = std::exchange(parent_, nullptr);
  if (parent == nullptr) return nullptr;
  auto self = std::move(block_->slots[slot_]);
  block_->snapshot.reset();
  --parent->childCount_;
  parent->markChanged();
  if (parent->childCount_ * 4 < parent->blocks_.size() * BLOCK_SIZE && parent->blocks_.size() > 1) {
    parent->compact();
  }
  return self;
}

/// Closes the gaps. Called when three quarters of the slots are empty, so its cost is amortised over
/// removals.
void SCNNode::compact() {
  std::vector<std::unique_ptr<Block>> sparse;
  sparse.swap(blocks_);
  childCount_ = 0;
  for (const auto& block : sparse) {
    for (auto& child : block->slots) {
      if (child) append(std::move(child));
    }
  }
}

std::shared_ptr<SCNNode> SCNNode::parentNode() const {
  const std::lock_guard lock(graphMutex);
  if (parent_ == nullptr) return nullptr;
  return std::static_pointer_cast<SCNNode>(parent_->weak_from_this().lock());
}

std::vector<std::shared_ptr<SCNNode>> SCNNode::childNodes() const {
  std::vector<std::shared_ptr<SCNNode>> children;
  const std::lock_guard lock(graphMutex);
  children.reserve(childCount_);
  for (const auto& block : blocks_) {
    for (const auto& child : block->slots) {
      if (child) children.push_back(child);
    }
  }
  return children;
}

SCNNodeSnapshot SCNNode::snapshot() const {
  const std::lock_guard lock(graphMutex);
  return takeSnapshot();
}

SCNNodeSnapshot SCNNode::takeSnapshot() const {
  SCNNodeSnapshot taken = values_;
  taken.blocks.reserve(blocks_.size());
  for (const auto& block : blocks_) {
    if (!block->snapshot) refresh(*block);
    if (!block->snapshot->empty()) taken.blocks.push_back(block->snapshot);
  }
  return taken;
}

void SCNNode::refresh(Block& block) {
  SCNNodeSnapshot::Block children;
  children.reserve(block.slots.size());
  for (const auto& child : block.slots) {
    if (child) children.push_back(child->takeSnapshot());
  }
  block.snapshot = std::make_shared<const SCNNodeSnapshot::Block>(std::move(children));
}

}  // namespace geoloom::platform
