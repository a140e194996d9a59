#include "geoloom/platform/scene/SCNNode.h"

#include <iterator>
#include <mutex>
#include <utility>

#include "geoloom/base/Precondition.h"

namespace geoloom::platform {
namespace {

/// One lock for all nodes, so that moving a node between scenes needs no lock order. Held during single
/// changes and while a snapshot is copied, never while application code runs.
std::mutex graphMutex;

}  // namespace

SCNNode::SCNNode() = default;

SCNNode::SCNNode(std::shared_ptr<const SCNGeometry> geometry) {
  values_.geometry = std::move(geometry);
}

SCNNode::~SCNNode() {
  if (children_.empty()) return;
  const std::lock_guard lock(graphMutex);
  for (const auto& child : children_) child->parent_ = nullptr;
}

SCNVector3 SCNNode::position() const {
  const std::lock_guard lock(graphMutex);
  return values_.position;
}

void SCNNode::setPosition(SCNVector3 position) {
  const std::lock_guard lock(graphMutex);
  values_.position = position;
}

SCNQuaternion SCNNode::orientation() const {
  const std::lock_guard lock(graphMutex);
  return values_.orientation;
}

void SCNNode::setOrientation(SCNQuaternion orientation) {
  const std::lock_guard lock(graphMutex);
  values_.orientation = orientation;
}

SCNVector3 SCNNode::scale() const {
  const std::lock_guard lock(graphMutex);
  return values_.scale;
}

void SCNNode::setScale(SCNVector3 scale) {
  const std::lock_guard lock(graphMutex);
  values_.scale = scale;
}

std::shared_ptr<const SCNGeometry> SCNNode::geometry() const {
  const std::lock_guard lock(graphMutex);
  return values_.geometry;
}

void SCNNode::setGeometry(std::shared_ptr<const SCNGeometry> geometry) {
  const std::lock_guard lock(graphMutex);
  values_.geometry.swap(geometry);
}

void SCNNode::addChildNode(const std::shared_ptr<SCNNode>& child) {
  GEOLOOM_PRECONDITION(child != nullptr, "addChildNode: the child must not be null");
  const std::lock_guard lock(graphMutex);
  for (const SCNNode* above = this; above != nullptr; above = above->parent_) {
    GEOLOOM_PRECONDITION(above != child.get(), "addChildNode: a node cannot be its own descendant");
  }
  if (child->parent_ != nullptr)
    children_.splice(children_.end(), child->parent_->children_, child->place_);
  else
    children_.push_back(child);
  child->parent_ = this;
  child->place_ = std::prev(children_.end());
}

void SCNNode::removeFromParentNode() {
  // The parent may hold the last reference, which must not be released under the lock.
  std::shared_ptr<SCNNode> self;
  const std::lock_guard lock(graphMutex);
  SCNNode* const parent = std::exchange(parent_, nullptr);
  if (parent == nullptr) return;
  self = std::move(*place_);
  parent->children_.erase(place_);
}

std::shared_ptr<SCNNode> SCNNode::parentNode() const {
  const std::lock_guard lock(graphMutex);
  if (parent_ == nullptr) return nullptr;
  return std::static_pointer_cast<SCNNode>(parent_->weak_from_this().lock());
}

std::vector<std::shared_ptr<SCNNode>> SCNNode::childNodes() const {
  const std::lock_guard lock(graphMutex);
  return {children_.begin(), children_.end()};
}

SCNNodeSnapshot SCNNode::snapshot() const {
  const std::lock_guard lock(graphMutex);
  return copy();
}

SCNNodeSnapshot SCNNode::copy() const {
  SCNNodeSnapshot taken = values_;
  taken.childNodes.reserve(children_.size());
  for (const auto& child : children_) taken.childNodes.push_back(child->copy());
  return taken;
}

}  // namespace geoloom::platform
