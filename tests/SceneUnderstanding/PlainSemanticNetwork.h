#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/SceneUnderstanding/draw/DetectionOverlay.h"

namespace geoloom::test {

/// The rules of tracking as they are stated, one walk over all objects for an observation and one over all
/// ordered pairs for the edges: what SemanticNetwork is held against.
struct PlainTrackedObject {
  std::string objectClass;
  std::int64_t id = 0;
  bool isVisible = false;
  std::vector<BoundingBox3D> previousBBoxes;
  std::int64_t seenFrames = 0;
  BoundingBox3D smoothBBox;
  std::vector<std::shared_ptr<platform::SCNNode>> visualNodes;

  [[nodiscard]] float medianOf(float BoundingBox3D::*field) const {
    std::vector<float> values;
    for (const auto& box : previousBBoxes) values.push_back(box.*field);
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 == 1 ? values[(n - 1) / 2] : (values[n / 2 - 1] + values[n / 2]) * 0.5F;
  }

  void updateSmoothBBox() {
    smoothBBox = {medianOf(&BoundingBox3D::minX), medianOf(&BoundingBox3D::maxX),
                  medianOf(&BoundingBox3D::minY), medianOf(&BoundingBox3D::maxY),
                  medianOf(&BoundingBox3D::minZ), medianOf(&BoundingBox3D::maxZ)};
  }
};

struct PlainSemanticNetwork {
  std::vector<PlainTrackedObject> trackedObjects;
  std::map<std::string, std::shared_ptr<platform::SCNNode>> visualEdges;

  static bool overlapOnAxis(float a0, float a1, float b0, float b1) {
    return (a1 - a0) + (b1 - b0) > std::max(a1, b1) - std::min(a0, b0);
  }

  static bool overlap(const BoundingBox3D& a, const BoundingBox3D& b) {
    return overlapOnAxis(a.minX, a.maxX, b.minX, b.maxX) && overlapOnAxis(a.minY, a.maxY, b.minY, b.maxY) &&
           overlapOnAxis(a.minZ, a.maxZ, b.minZ, b.maxZ);
  }

  void observe(const std::string& name, double confidence, const BoundingBox3D& bbox,
               const std::shared_ptr<platform::SCNScene>& scene, bool drawBoxes) {
    bool isMatched = false;
    for (auto& t : trackedObjects) {
      if (!overlap(t.smoothBBox, bbox)) continue;
      if (t.isVisible) {
        t.isVisible = false;
        for (const auto& node : t.visualNodes) node->removeFromParentNode();
      }
      if (t.objectClass != name || isMatched) continue;
      t.seenFrames += 1;
      t.previousBBoxes.push_back(bbox);
      if (name == "person" && t.previousBBoxes.size() > 4) t.previousBBoxes.erase(t.previousBBoxes.begin());
      t.updateSmoothBBox();
      isMatched = true;
      if (scene && drawBoxes) {
        const auto color = t.seenFrames < 6 ? platform::UIColor::redColor() : platform::UIColor::cyanColor();
        t.visualNodes = drawTrackedObject(confidence, t.objectClass, t.smoothBBox, color, *scene);
        t.isVisible = true;
      }
    }
    if (isMatched) return;
    PlainTrackedObject created;
    created.objectClass = name;
    created.id = static_cast<std::int64_t>(trackedObjects.size());
    created.smoothBBox = bbox;
    trackedObjects.push_back(created);
  }

  void drawVisualEdges(platform::SCNScene& scene) {
    for (const auto& a : trackedObjects) {
      for (const auto& b : trackedObjects) {
        const std::string key = std::to_string(a.id) + "|" + std::to_string(b.id);
        const auto ca = a.smoothBBox.center();
        const auto cb = b.smoothBBox.center();
        const float dx = cb.x - ca.x;
        const float dy = cb.y - ca.y;
        const float dz = cb.z - ca.z;
        const float d = std::sqrt(dx * dx + dy * dy + dz * dz);
        const auto stored = visualEdges.find(key);
        if (a.isVisible && b.isVisible && a.seenFrames >= 5 && b.seenFrames >= 5 && d <= 1.0F) {
          auto& node = visualEdges[key];
          if (!node) node = std::make_shared<platform::SCNNode>();
          lineNode(*node, ca, cb, 0.001, platform::UIColor::purpleColor());
          scene.rootNode()->addChildNode(node);
        } else if (stored != visualEdges.end()) {
          stored->second->removeFromParentNode();
        }
      }
    }
  }
};

}  // namespace geoloom::test
