#include "geoloom/SceneUnderstanding/track/TrackedObject.h"

#include <utility>

#include "geoloom/base/Precondition.h"

namespace geoloom {
namespace {

constexpr std::size_t HISTORY_OF_A_MOVER = 4;

constexpr std::array<float BoundingBox3D::*, 6> FIELDS{&BoundingBox3D::minX, &BoundingBox3D::maxX,
                                                       &BoundingBox3D::minY, &BoundingBox3D::maxY,
                                                       &BoundingBox3D::minZ, &BoundingBox3D::maxZ};

}  // namespace

TrackedObject::TrackedObject(std::string objectClass, std::int64_t id, const BoundingBox3D& bbox)
    : objectClass_(std::move(objectClass)), id_(id), mayMove_(objectClass_ == "person"), smoothBBox_(bbox) {}

void TrackedObject::updateSmoothBBox() {
  GEOLOOM_PRECONDITION(!previousBBoxes_.empty(), "updateSmoothBBox: the history must not be empty");
  if (!mayMove_) {
    for (std::size_t f = 0; f < FIELDS.size(); ++f) smoothBBox_.*FIELDS[f] = medians_[f].value();
    return;
  }
  std::array<float, HISTORY_OF_A_MOVER> values{};
  const std::size_t count = previousBBoxes_.size();
  for (const auto field : FIELDS) {
    for (std::size_t i = 0; i < count; ++i) values[i] = previousBBoxes_[i].*field;
    smoothBBox_.*field = medianInPlace(std::span(values.data(), count));
  }
}

void TrackedObject::match(const BoundingBox3D& bbox) {
  ++seenFrames_;
  previousBBoxes_.push_back(bbox);
  if (!mayMove_) {
    for (std::size_t f = 0; f < FIELDS.size(); ++f) medians_[f].insert(bbox.*FIELDS[f]);
  } else if (previousBBoxes_.size() > HISTORY_OF_A_MOVER) {
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
