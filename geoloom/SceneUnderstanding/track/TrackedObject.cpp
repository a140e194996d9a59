#include "geoloom/SceneUnderstanding/track/TrackedObject.h"

#include <utility>

namespace geoloom {
namespace {

constexpr std::size_t MOVING_OBJECT_HISTORY = 4;

constexpr std::array<float BoundingBox3D::*, 6> FIELDS{&BoundingBox3D::minX, &BoundingBox3D::maxX,
                                                       &BoundingBox3D::minY, &BoundingBox3D::maxY,
                                                       &BoundingBox3D::minZ, &BoundingBox3D::maxZ};

}  // namespace

TrackedObject::TrackedObject(std::string objectClass, std::int64_t id, const BoundingBox3D& bbox)
    : objectClass_(std::move(objectClass)), id_(id), mayMove_(objectClass_ == "person"), smoothBBox_(bbox) {}

void TrackedObject::updateSmoothBBox() {
  for (std::size_t f = 0; f < FIELDS.size(); ++f) smoothBBox_.*FIELDS[f] = sortedFields_[f].median();
}

void TrackedObject::match(const BoundingBox3D& bbox) {
  ++seenFrames_;
  previousBBoxes_.push_back(bbox);
  for (std::size_t f = 0; f < FIELDS.size(); ++f) sortedFields_[f].insert(bbox.*FIELDS[f]);
  if (mayMove_ && previousBBoxes_.size() > MOVING_OBJECT_HISTORY) {
    const BoundingBox3D& oldest = previousBBoxes_.front();
    for (std::size_t f = 0; f < FIELDS.size(); ++f) sortedFields_[f].remove(oldest.*FIELDS[f]);
    previousBBoxes_.erase(previousBBoxes_.begin());
  }
  updateSmoothBBox();
}

void TrackedObject::hide() {
  isVisible_ = false;
  for (const auto& node : visualNodes_) node->removeFromParentNode();
}

void TrackedObject::show(std::vector<std::shared_ptr<platform::SCNNode>> nodes) {
  visualNodes_ = std::move(nodes);
  isVisible_ = true;
}

}  // namespace geoloom
