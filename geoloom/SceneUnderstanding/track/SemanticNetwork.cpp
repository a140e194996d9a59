#include "geoloom/SceneUnderstanding/track/SemanticNetwork.h"

#include <algorithm>

#include "geoloom/SceneUnderstanding/draw/DetectionOverlay.h"

namespace geoloom {
namespace {

constexpr std::int64_t CONFIRMED_AFTER_FRAMES = 6;
constexpr std::int64_t JOINED_AFTER_FRAMES = 5;
constexpr float EDGE_REACH = 1;  ///< metres
constexpr double EDGE_RADIUS = 0.001;

bool overlapOnAxis(float a0, float a1, float b0, float b1) {
  return (a1 - a0) + (b1 - b0) > std::max(a1, b1) - std::min(a0, b0);
}

bool canBeJoined(const TrackedObject& object) {
  return object.isVisible() && object.seenFrames() >= JOINED_AFTER_FRAMES;
}

bool isWithinReach(const platform::SCNVector3& a, const platform::SCNVector3& b) {
  return b.distance(a) <= EDGE_REACH;
}

bool areJoined(const TrackedObject& a, const TrackedObject& b) {
  return canBeJoined(a) && canBeJoined(b) && isWithinReach(a.smoothBBox().center(), b.smoothBBox().center());
}

}  // namespace

bool overlaps(const BoundingBox3D& a, const BoundingBox3D& b) {
  return overlapOnAxis(a.minX, a.maxX, b.minX, b.maxX) && overlapOnAxis(a.minY, a.maxY, b.minY, b.maxY) &&
         overlapOnAxis(a.minZ, a.maxZ, b.minZ, b.maxZ);
}

std::int64_t SemanticNetwork::totalTrackedObjectCount() const {
  return static_cast<std::int64_t>(trackedObjects_.size());
}

std::map<std::string, std::shared_ptr<platform::SCNNode>> SemanticNetwork::visualEdges() const {
  std::map<std::string, std::shared_ptr<platform::SCNNode>> edges;
  for (const auto& [ids, node] : visualEdges_)
    edges.emplace(std::to_string(ids.first) + "|" + std::to_string(ids.second), node);
  return edges;
}

void SemanticNetwork::observe(const std::string& name, double confidence, const BoundingBox3D& bbox,
                              const std::shared_ptr<platform::SCNScene>& scene, bool drawBoxes) {
  bool isMatched = false;
  for (const auto& object : trackedObjects_) {
    if (!overlaps(object->smoothBBox(), bbox)) continue;
    if (object->isVisible()) object->hide();
    if (isMatched || object->objectClass() != name) continue;
    isMatched = true;
    object->match(bbox);
    if (!scene || !drawBoxes) continue;
    const auto color = object->seenFrames() < CONFIRMED_AFTER_FRAMES ? platform::UIColor::redColor()
                                                                     : platform::UIColor::cyanColor();
    object->show(drawTrackedObject(confidence, object->objectClass(), object->smoothBBox(), color, *scene));
  }
  if (!isMatched)
    trackedObjects_.push_back(std::make_shared<TrackedObject>(name, totalTrackedObjectCount(), bbox));
}

void SemanticNetwork::drawVisualEdges(platform::SCNScene& scene) {
  for (const auto& [ids, node] : visualEdges_) {
    const auto& a = trackedObjects_[static_cast<std::size_t>(ids.first)];
    const auto& b = trackedObjects_[static_cast<std::size_t>(ids.second)];
    if (!areJoined(*a, *b)) node->removeFromParentNode();
  }

  struct Candidate {
    std::int64_t id;
    platform::SCNVector3 center;
  };
  std::vector<Candidate> candidates;
  for (const auto& object : trackedObjects_)
    if (canBeJoined(*object)) candidates.push_back({object->id(), object->smoothBBox().center()});
  for (const Candidate& a : candidates) {
    for (const Candidate& b : candidates) {
      if (!isWithinReach(a.center, b.center)) continue;
      auto& node = visualEdges_[{a.id, b.id}];
      if (!node) node = std::make_shared<platform::SCNNode>();
      lineNode(*node, a.center, b.center, EDGE_RADIUS, platform::UIColor::purpleColor());
      scene.rootNode()->addChildNode(node);
    }
  }
}

}  // namespace geoloom
