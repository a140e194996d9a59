#include "geoloom/SceneUnderstanding/track/SemanticNetwork.h"

#include <algorithm>
#include <cmath>

#include "geoloom/SceneUnderstanding/draw/DetectionOverlay.h"

namespace geoloom {
namespace {

constexpr std::int64_t FRAMES_UNTIL_CONFIRMED = 6;
constexpr std::int64_t FRAMES_UNTIL_JOINED = 5;
/// Metres: about the size of what stands in a room.
constexpr double SMALLEST_CELL = 0.25;

bool overlapOnAxis(float a0, float a1, float b0, float b1) {
  return (a1 - a0) + (b1 - b0) > std::max(a1, b1) - std::min(a0, b0);
}

bool hasExtent(float low, float high) {
  const float extent = high - low;
  return extent > 0 && std::isfinite(extent);
}

/// False for what overlaps no box at all, because the sum of extents cannot exceed the hull when one of them
/// is zero, negative, infinite or not a number: no need to index it or to look for its neighbours.
bool canOverlap(const BoundingBox3D& b) {
  return hasExtent(b.minX, b.maxX) && hasExtent(b.minY, b.maxY) && hasExtent(b.minZ, b.maxZ);
}

}  // namespace

bool overlaps(const BoundingBox3D& a, const BoundingBox3D& b) {
  return overlapOnAxis(a.minX, a.maxX, b.minX, b.maxX) && overlapOnAxis(a.minY, a.maxY, b.minY, b.maxY) &&
         overlapOnAxis(a.minZ, a.maxZ, b.minZ, b.maxZ);
}

SemanticNetwork::SemanticNetwork() : boxes_(SMALLEST_CELL) {}

SemanticNetwork::~SemanticNetwork() = default;

std::int64_t SemanticNetwork::totalTrackedObjectCount() const {
  return static_cast<std::int64_t>(trackedObjects_.size());
}

void SemanticNetwork::observe(const std::string& name, double confidence, const BoundingBox3D& bbox,
                              const std::shared_ptr<platform::SCNScene>& scene, bool drawBoxes) {
  findNear(bbox);
  bool isMatched = false;
  for (const Number number : near_) {
    TrackedObject& object = *trackedObjects_[number];
    if (!overlaps(object.smoothBBox(), bbox)) continue;
    const bool wasVisible = object.isVisible();
    if (wasVisible) object.hide();
    if (!isMatched && object.objectClass() == name) {
      match(number, bbox);
      isMatched = true;
      if (scene && drawBoxes) {
        const auto color = object.seenFrames() < FRAMES_UNTIL_CONFIRMED ? platform::UIColor::redColor()
                                                                        : platform::UIColor::cyanColor();
        object.show(drawTrackedObject(confidence, object.objectClass(), object.smoothBBox(), color, *scene));
      }
    }
    if (wasVisible || object.isVisible()) placeInEdges(number);
  }
  if (!isMatched) create(name, bbox);
}

/// In order of creation, the order in which a walk over all objects would meet them.
void SemanticNetwork::findNear(const BoundingBox3D& bbox) {
  near_.clear();
  if (!canOverlap(bbox)) return;
  boxes_.collect(bbox, near_);
  std::sort(near_.begin(), near_.end());
}

void SemanticNetwork::match(Number number, const BoundingBox3D& bbox) {
  TrackedObject& object = *trackedObjects_[number];
  boxes_.remove(number, object.smoothBBox());
  object.match(bbox);
  if (canOverlap(object.smoothBBox())) boxes_.insert(number, object.smoothBBox());
}

void SemanticNetwork::create(const std::string& name, const BoundingBox3D& bbox) {
  const auto number = static_cast<Number>(trackedObjects_.size());
  trackedObjects_.push_back(std::make_shared<TrackedObject>(name, totalTrackedObjectCount(), bbox));
  if (canOverlap(bbox)) boxes_.insert(number, bbox);
}

void SemanticNetwork::placeInEdges(Number number) {
  const TrackedObject& object = *trackedObjects_[number];
  const bool isJoined = object.isVisible() && object.seenFrames() >= FRAMES_UNTIL_JOINED;
  edges_.place(number, isJoined ? std::optional(object.smoothBBox().center()) : std::nullopt);
}

void SemanticNetwork::drawVisualEdges(platform::SCNScene& scene) {
  edges_.draw(scene);
}

}  // namespace geoloom
