#include <cmath>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/draw/BoundingBox.h"
#include "geoloom/SceneUnderstanding/draw/DetectionOverlay.h"
#include "geoloom/platform/ui/UIScreen.h"

namespace geoloom {
namespace {

using platform::SCNCylinder;
using platform::SCNNode;
using platform::SCNPyramid;
using platform::SCNScene;
using platform::SCNSphere;
using platform::SCNText;
using platform::SCNVector3;
using platform::UIColor;

template <class Shape>
const Shape* shapeOf(const SCNNode& node) {
  return std::get_if<Shape>(&node.geometry()->shape);
}

/// The ends of a cylinder, from its height, position and orientation: -y first.
std::pair<SCNVector3, SCNVector3> endsOf(const SCNNode& node) {
  const auto half = static_cast<float>(shapeOf<SCNCylinder>(node)->height / 2);
  const auto m = node.snapshot().transform().columns;
  return {{m[3].x - half * m[1].x, m[3].y - half * m[1].y, m[3].z - half * m[1].z},
          {m[3].x + half * m[1].x, m[3].y + half * m[1].y, m[3].z + half * m[1].z}};
}

void expectNear(SCNVector3 actual, SCNVector3 expected, float tolerance, const std::string& what) {
  EXPECT_LE(actual.distance(expected), tolerance) << what;
}

TEST(LineNode, RunsFromOnePointToTheOther) {
  const SCNVector3 from{0.25F, -1.5F, 3};
  const std::pair<const char*, SCNVector3> lines[] = {
      {"up", {0, 2, 0}},
      {"down", {0, -2, 0}},
      {"right", {1, 0, 0}},
      {"forward", {0, 0, -1}},
      {"slanted", {0.3F, -0.7F, 2}},
      {"nearly down", {1e-4F, -1, 0}},
      {"almost down", {0, -1, 1e-7F}},
      {"tiny", {0, 0, 1e-4F}},
  };
  for (const auto& [what, along] : lines) {
    const SCNVector3 to{from.x + along.x, from.y + along.y, from.z + along.z};
    SCNNode node;
    lineNode(node, from, to, 0.001, UIColor::cyanColor());
    const auto* cylinder = shapeOf<SCNCylinder>(node);
    ASSERT_TRUE(cylinder) << what;
    EXPECT_EQ(cylinder->radius, 0.001);
    EXPECT_EQ(node.geometry()->firstMaterial.diffuse, UIColor::cyanColor());
    const auto q = node.orientation();
    EXPECT_NEAR(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w, 1, 1e-6) << what;
    const auto [first, last] = endsOf(node);
    expectNear(first, from, 1e-6F, what);
    expectNear(last, to, 1e-6F, what);
  }
}

TEST(LineNode, WithoutLengthIsASphere) {
  SCNNode node;
  lineNode(node, {1, 2, 3}, {1, 5, 3}, 0.001, UIColor::redColor());
  lineNode(node, {1, 2, 3}, {1, 2, 3}, 0.25, UIColor::redColor());
  ASSERT_TRUE(shapeOf<SCNSphere>(node));
  EXPECT_EQ(shapeOf<SCNSphere>(node)->radius, 0.25);
  EXPECT_EQ(node.position(), (SCNVector3{1, 2, 3}));
}

TEST(DrawTrackedObject, DrawsFourteenNodesInOrder) {
  SCNScene scene;
  const BoundingBox3D box{-1, 1, 0, 2, 4, 8};
  const auto nodes = drawTrackedObject(0.875, "cup", box, UIColor::redColor(), scene);
  ASSERT_EQ(nodes.size(), 14U);
  const struct {
    SCNVector3 from;
    SCNVector3 to;
  } edges[] = {
      {{-1, 0, 4}, {-1, 0, 8}}, {{-1, 0, 4}, {-1, 2, 4}},    {{-1, 0, 4}, {1, 0, 4}},
      {{1, 2, 8}, {-1, 2, 8}},  {{1, 2, 8}, {0.999F, 0, 8}}, {{1, 2, 8}, {1, 2, 4}},
      {{-1, 0, 8}, {-1, 2, 8}}, {{-1, 2, 4}, {-1, 2, 8}},    {{-1, 2, 4}, {1, 2, 4}},
      {{1, 0, 4}, {1, 2, 4}},   {{1, 0, 4}, {1, 0, 8}},      {{-1, 0, 8}, {1, 0, 8}},
  };
  for (std::size_t i = 0; i < std::size(edges); ++i) {
    const auto [first, last] = endsOf(*nodes[i]);
    expectNear(first, edges[i].from, 2e-6F, "edge " + std::to_string(i + 1));
    expectNear(last, edges[i].to, 2e-6F, "edge " + std::to_string(i + 1));
    EXPECT_EQ(nodes[i]->geometry()->firstMaterial.diffuse, UIColor::redColor());
  }

  const SCNNode& label = *nodes[12];
  const auto* text = shapeOf<SCNText>(label);
  ASSERT_TRUE(text);
  EXPECT_EQ(*text, (SCNText{"cup (0.88)", 0.01, {"Arial", 0.1}, platform::TextAlignment::center}));
  EXPECT_EQ(label.geometry()->firstMaterial,
            (platform::SCNMaterial{UIColor::purpleColor(), UIColor::whiteColor(), true}));
  EXPECT_EQ(label.position(), (SCNVector3{0, 1.5F, 6}));
  EXPECT_EQ(label.scale(), (SCNVector3{0.5F, 0.5F, 0.5F}));

  const SCNNode& mark = *nodes[13];
  ASSERT_TRUE(shapeOf<SCNPyramid>(mark));
  EXPECT_EQ(*shapeOf<SCNPyramid>(mark), (SCNPyramid{0.01, 0.01, 0.01}));
  EXPECT_EQ(mark.position(), (SCNVector3{0, 1, 6}));
  EXPECT_EQ(mark.geometry()->firstMaterial.diffuse, UIColor::redColor());

  std::vector<std::shared_ptr<SCNNode>> attached{nodes[13], nodes[12]};
  attached.insert(attached.end(), nodes.begin(), nodes.begin() + 12);
  EXPECT_EQ(scene.rootNode()->childNodes(), attached) << "drawn in the order mark, label, edges";
}

TEST(DrawTrackedObject, DrawsThreeSpheresForABoxWithoutHeight) {
  SCNScene scene;
  const auto nodes = drawTrackedObject(0.5, "cup", {0, 1, 2, 2, 0, 1}, UIColor::redColor(), scene);
  ASSERT_EQ(nodes.size(), 14U);
  for (std::size_t i = 0; i < 12; ++i) {
    const bool isPoint = i == 1 || i == 6 || i == 9;
    EXPECT_EQ(shapeOf<SCNSphere>(*nodes[i]) != nullptr, isPoint) << "edge " << i + 1;
  }
  EXPECT_NEAR(shapeOf<SCNCylinder>(*nodes[4])->height, 0.001, 1e-6);
}

TEST(HitMarker, IsAPyramidAtThePoint) {
  SCNScene scene;
  hitMarker({1, 2, 3}, scene);
  const auto nodes = scene.rootNode()->childNodes();
  ASSERT_EQ(nodes.size(), 1U);
  EXPECT_EQ(nodes[0]->position(), (SCNVector3{1, 2, 3}));
  EXPECT_EQ(*nodes[0]->geometry(), (platform::SCNGeometry{SCNPyramid{0.001, 0.001, 0.001}, {}}));
}

TEST(BoundingBox, IsInitiallyHidden) {
  platform::UIScreen::setMainScale(3);
  const BoundingBox box;
  EXPECT_EQ(box.shapeLayer->lineWidth, 3);
  EXPECT_TRUE(box.shapeLayer->isHidden());
  EXPECT_TRUE(box.textLayer->isHidden());
  EXPECT_EQ(box.textLayer->contentsScale, 3);
  EXPECT_EQ(box.textLayer->font, (platform::UIFont{"Avenir", 16}));

  platform::CALayer parent;
  box.addToLayer(parent);
  EXPECT_EQ(parent.sublayers(),
            (std::vector<std::shared_ptr<platform::CALayer>>{box.shapeLayer, box.textLayer}));
}

}  // namespace
}  // namespace geoloom
