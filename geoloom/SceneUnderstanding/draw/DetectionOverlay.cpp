#include "geoloom/SceneUnderstanding/draw/DetectionOverlay.h"

#include <array>
#include <cmath>

#include <fmt/format.h>

namespace geoloom {
namespace {

using platform::SCNGeometry;
using platform::SCNNode;
using platform::SCNVector3;
using platform::UIColor;

constexpr double EDGE_RADIUS = 0.001;

struct Vector {
  double x;
  double y;
  double z;
};

/// The shortest rotation from the y axis to the direction of `v`, which is not zero, by the half-angle
/// formula. 1 + y is computed without cancellation if `v` points down. For straight down it is half a turn
/// about x.
platform::SCNQuaternion rotationFromY(Vector v) {
  const double length = std::hypot(v.x, v.y, v.z);
  const Vector u{v.x / length, v.y / length, v.z / length};
  const double onePlusY = u.y >= 0 ? 1 + u.y : (u.x * u.x + u.z * u.z) / (1 - u.y);
  if (onePlusY == 0) return {1, 0, 0, 0};
  const double norm = std::hypot(u.x, u.z, onePlusY);
  return {static_cast<float>(u.z / norm), 0, static_cast<float>(-u.x / norm),
          static_cast<float>(onePlusY / norm)};
}

float middle(float a, float b) {
  return static_cast<float>((static_cast<double>(a) + static_cast<double>(b)) / 2);
}

std::shared_ptr<SCNNode> addNode(SCNGeometry geometry, SCNVector3 position, platform::SCNScene& scene) {
  auto node = std::make_shared<SCNNode>(std::make_shared<const SCNGeometry>(std::move(geometry)));
  node->setPosition(position);
  scene.rootNode()->addChildNode(node);
  return node;
}

SCNGeometry labelGeometry(double confidence, std::string_view name) {
  return {platform::SCNText{fmt::format("{} ({:.2f})", name, confidence),
                            0.01,
                            {"Arial", 0.1},
                            platform::TextAlignment::center},
          {UIColor::purpleColor(), UIColor::whiteColor(), true}};
}

std::shared_ptr<SCNNode> addLabel(double confidence, std::string_view name, const BoundingBox3D& box,
                                  platform::SCNScene& scene) {
  const SCNVector3 center = box.center();
  auto label =
      std::make_shared<SCNNode>(std::make_shared<const SCNGeometry>(labelGeometry(confidence, name)));
  label->setPosition({center.x, box.maxY - 0.5F, center.z});
  label->setScale({0.5F, 0.5F, 0.5F});
  scene.rootNode()->addChildNode(label);
  return label;
}

struct Edge {
  SCNVector3 from;
  SCNVector3 to;
};

std::array<Edge, 12> edgesOf(const BoundingBox3D& b) {
  return {{
      {{b.minX, b.minY, b.minZ}, {b.minX, b.minY, b.maxZ}},
      {{b.minX, b.minY, b.minZ}, {b.minX, b.maxY, b.minZ}},
      {{b.minX, b.minY, b.minZ}, {b.maxX, b.minY, b.minZ}},
      {{b.maxX, b.maxY, b.maxZ}, {b.minX, b.maxY, b.maxZ}},
      // Ends a millimetre before the corner, so that the edge has a length even in a box without height.
      {{b.maxX, b.maxY, b.maxZ}, {b.maxX - 0.001F, b.minY, b.maxZ}},
      {{b.maxX, b.maxY, b.maxZ}, {b.maxX, b.maxY, b.minZ}},
      {{b.minX, b.minY, b.maxZ}, {b.minX, b.maxY, b.maxZ}},
      {{b.minX, b.maxY, b.minZ}, {b.minX, b.maxY, b.maxZ}},
      {{b.minX, b.maxY, b.minZ}, {b.maxX, b.maxY, b.minZ}},
      {{b.maxX, b.minY, b.minZ}, {b.maxX, b.maxY, b.minZ}},
      {{b.maxX, b.minY, b.minZ}, {b.maxX, b.minY, b.maxZ}},
      {{b.minX, b.minY, b.maxZ}, {b.maxX, b.minY, b.maxZ}},
  }};
}

}  // namespace

std::vector<std::shared_ptr<SCNNode>> drawTrackedObject(double confidence, std::string_view name,
                                                        const BoundingBox3D& bbox, UIColor color,
                                                        platform::SCNScene& scene) {
  auto mark = addNode({platform::SCNPyramid{0.01, 0.01, 0.01}, {.diffuse = color}}, bbox.center(), scene);
  auto label = addLabel(confidence, name, bbox, scene);
  std::vector<std::shared_ptr<SCNNode>> nodes;
  nodes.reserve(14);
  for (const Edge& edge : edgesOf(bbox)) {
    auto line = std::make_shared<SCNNode>();
    lineNode(*line, edge.from, edge.to, EDGE_RADIUS, color);
    scene.rootNode()->addChildNode(line);
    nodes.push_back(std::move(line));
  }
  nodes.push_back(std::move(label));
  nodes.push_back(std::move(mark));
  return nodes;
}

void hitMarker(SCNVector3 at, platform::SCNScene& scene) {
  addNode({platform::SCNPyramid{0.001, 0.001, 0.001}, {}}, at, scene);
}

void lineNode(SCNNode& node, SCNVector3 from, SCNVector3 to, double radius, UIColor color) {
  const Vector along{static_cast<double>(to.x) - static_cast<double>(from.x),
                     static_cast<double>(to.y) - static_cast<double>(from.y),
                     static_cast<double>(to.z) - static_cast<double>(from.z)};
  const double length = std::hypot(along.x, along.y, along.z);
  node.setPosition({middle(from.x, to.x), middle(from.y, to.y), middle(from.z, to.z)});
  SCNGeometry line{platform::SCNSphere{radius}, {.diffuse = color}};
  if (length == 0) {
    node.setOrientation({});
  } else {
    line.shape = platform::SCNCylinder{radius, length};
    node.setOrientation(std::isfinite(length) ? rotationFromY(along) : platform::SCNQuaternion{});
  }
  node.setGeometry(std::make_shared<const SCNGeometry>(std::move(line)));
}

}  // namespace geoloom
