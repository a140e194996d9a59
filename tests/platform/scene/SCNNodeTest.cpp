#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include <gtest/gtest.h>

#include "geoloom/platform/scene/SCNNode.h"
#include "geoloom/platform/scene/SCNScene.h"

namespace geoloom::platform {
namespace {

using Nodes = std::vector<std::shared_ptr<SCNNode>>;

std::shared_ptr<SCNNode> nodeAt(float x) {
  auto node = std::make_shared<SCNNode>();
  node->setPosition({x, 0, 0});
  return node;
}

std::vector<float> placesIn(const SCNNodeSnapshot& snapshot) {
  std::vector<float> places;
  for (const auto* child : snapshot.children()) places.push_back(child->position.x);
  return places;
}

TEST(SCNNode, AddingAnAttachedNodeMovesIt) {
  const auto a = nodeAt(0);
  const auto b = nodeAt(0);
  const auto first = nodeAt(1);
  const auto second = nodeAt(2);
  a->addChildNode(first);
  a->addChildNode(second);
  a->addChildNode(first);
  EXPECT_EQ(a->childNodes(), (Nodes{second, first}));
  b->addChildNode(second);
  EXPECT_EQ(a->childNodes(), Nodes{first});
  EXPECT_EQ(b->childNodes(), Nodes{second});
  EXPECT_EQ(second->parentNode(), b);
  second->removeFromParentNode();
  second->removeFromParentNode();
  EXPECT_TRUE(b->childNodes().empty());
  EXPECT_EQ(second->parentNode(), nullptr);
}

TEST(SCNNode, ParentOwnsItsChildren) {
  auto parent = nodeAt(0);
  std::weak_ptr<SCNNode> dropped;
  const auto kept = nodeAt(1);
  {
    const auto child = nodeAt(2);
    dropped = child;
    parent->addChildNode(child);
  }
  parent->addChildNode(kept);
  EXPECT_FALSE(dropped.expired());
  dropped.lock()->removeFromParentNode();
  EXPECT_TRUE(dropped.expired());
  parent.reset();
  EXPECT_EQ(kept->parentNode(), nullptr);
  kept->removeFromParentNode();
}

TEST(SCNNode, SnapshotsContainAllEditsAndAreImmutable) {
  const SCNScene scene;
  const auto branch = nodeAt(1);
  const auto leaf = nodeAt(2);
  scene.rootNode()->addChildNode(branch);
  branch->addChildNode(leaf);
  const auto before = scene.snapshot();
  leaf->setPosition({3, 0, 0});
  const auto moved = scene.snapshot();
  leaf->setGeometry(std::make_shared<const SCNGeometry>(SCNGeometry{SCNSphere{2}, {}}));
  const auto shaped = scene.snapshot();
  leaf->setScale({2, 2, 2});
  leaf->setOrientation({1, 0, 0, 0});
  branch->addChildNode(nodeAt(4));
  const auto last = scene.snapshot();
  branch->removeFromParentNode();

  const auto branchOf = [](const SCNNodeSnapshot& s) { return s.children().at(0); };
  EXPECT_EQ(placesIn(*branchOf(before)), std::vector<float>{2});
  EXPECT_EQ(placesIn(*branchOf(moved)), std::vector<float>{3});
  EXPECT_EQ(branchOf(moved)->children().at(0)->geometry, nullptr);
  EXPECT_NE(branchOf(shaped)->children().at(0)->geometry, nullptr);
  EXPECT_EQ(placesIn(*branchOf(last)), (std::vector<float>{3, 4}));
  EXPECT_EQ(branchOf(last)->children().at(0)->scale, (SCNVector3{2, 2, 2}));
  EXPECT_EQ(branchOf(last)->children().at(0)->orientation, (SCNQuaternion{1, 0, 0, 0}));
  EXPECT_TRUE(scene.snapshot().children().empty());
}

TEST(SCNNode, TransformScalesRotatesAndTranslates) {
  const SCNScene scene;
  const auto parent = nodeAt(1);
  const float h = std::sqrt(0.5F);
  parent->setOrientation({0, 0, h, h});  // a quarter turn about z
  parent->setScale({2, 2, 2});
  scene.rootNode()->addChildNode(parent);
  parent->addChildNode(nodeAt(3));
  std::vector<simd_float4> places;
  scene.snapshot().forEachNode(
      [&](const SCNNodeSnapshot&, const simd_float4x4& t) { places.push_back(t.columns[3]); });
  ASSERT_EQ(places.size(), 3U);
  EXPECT_EQ(places[1], (simd_float4{1, 0, 0, 1}));
  EXPECT_NEAR(places[2].x, 1, 1e-6);
  EXPECT_NEAR(places[2].y, 6, 1e-6);
}

TEST(SCNNode, SnapshotsAreAtomicWhileAnotherThreadEdits) {
  const SCNScene scene;
  const auto token = nodeAt(0);
  const auto left = nodeAt(1);
  const auto right = nodeAt(2);
  for (int i = 0; i < 200; ++i) left->addChildNode(nodeAt(static_cast<float>(i)));
  scene.rootNode()->addChildNode(left);
  scene.rootNode()->addChildNode(right);
  left->addChildNode(token);

  std::atomic<bool> stop = false;
  std::atomic<int> edits = 0;
  std::thread editor([&] {
    for (int i = 1; !stop; ++i, ++edits) {
      (i % 2 == 0 ? left : right)->addChildNode(token);
      const auto temporary = nodeAt(9);
      temporary->addChildNode(nodeAt(10));
      right->addChildNode(temporary);
      temporary->removeFromParentNode();
    }
  });
  while (edits < 2000) {
    const auto snapshot = scene.snapshot();
    int tokens = 0;
    for (const auto* side : snapshot.children()) {
      const auto places = placesIn(*side);
      tokens += static_cast<int>(
          side->position.x == 1 ? places.size() - 200
                                : static_cast<std::size_t>(std::count(places.begin(), places.end(), 0.0F)));
    }
    ASSERT_EQ(tokens, 1) << "the token is always on exactly one side";
  }
  stop = true;
  editor.join();
}

#ifndef NDEBUG
TEST(SCNNodeDeathTest, RejectsCyclesAndNull) {
  const auto parent = nodeAt(0);
  const auto child = nodeAt(1);
  parent->addChildNode(child);
  EXPECT_DEATH(child->addChildNode(parent), "its own descendant");
  EXPECT_DEATH(parent->addChildNode(nullptr), "must not be null");
}
#endif

}  // namespace
}  // namespace geoloom::platform
