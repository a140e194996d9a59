#include <bit>
#include <random>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/track/SemanticNetwork.h"

#include "tests/SceneUnderstanding/PlainSemanticNetwork.h"

namespace geoloom {
namespace {

using platform::SCNNode;
using platform::SCNScene;
using test::PlainSemanticNetwork;
using test::PlainTrackedObject;

constexpr float INF = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

/// A cube of the given side around a point on the x axis.
BoundingBox3D cube(float x, float side = 0.5F) {
  const float h = side / 2;
  return {x - h, x + h, -h, h, -h, h};
}

void observeTimes(SemanticNetwork& network, int times, const std::string& name, const BoundingBox3D& box,
                  const std::shared_ptr<SCNScene>& scene = nullptr) {
  for (int i = 0; i < times; ++i) network.observe(name, 0.5, box, scene, scene != nullptr);
}

TEST(Median, OfOddAndEvenCounts) {
  EXPECT_EQ(median({1, 3, 2}), 2.0F);
  EXPECT_EQ(median({4, 2, 1, 3}), 2.5F);
  EXPECT_EQ(median({7}), 7.0F);
  EXPECT_EQ(median({NOT_A_NUMBER, 1, NOT_A_NUMBER, 3, 2}), 3.0F) << "what is not a number stands last";
}

TEST(Median, RunsAlongBitForBit) {
  std::mt19937 random(11);
  std::uniform_int_distribution<int> small(-3, 3);
  for (int round = 0; round < 50; ++round) {
    RunningMedian running;
    std::vector<float> values;
    for (int i = 0; i < 60; ++i) {
      const int draw = small(random);
      values.push_back(draw == 0 && i % 2 == 0 ? -0.0F : static_cast<float>(draw) * 0.1F);
      running.insert(values.back());
      ASSERT_EQ(std::bit_cast<std::uint32_t>(running.value()), std::bit_cast<std::uint32_t>(median(values)));
    }
  }
}

TEST(SemanticNetwork, PersonsKeepFourBoxesOthersAll) {
  SemanticNetwork network;
  for (int i = 0; i < 6; ++i) {
    network.observe("person", 0.9, cube(0.01F * static_cast<float>(i)), nullptr, false);
    network.observe("chair", 0.9, cube(0.01F * static_cast<float>(i)), nullptr, false);
  }
  ASSERT_EQ(network.totalTrackedObjectCount(), 2) << "one object a class";
  const TrackedObject& person = *network.trackedObjects()[0];
  const TrackedObject& chair = *network.trackedObjects()[1];
  EXPECT_TRUE(person.mayMove());
  EXPECT_EQ(person.previousBBoxes(), (std::vector{cube(0.02F), cube(0.03F), cube(0.04F), cube(0.05F)}));
  EXPECT_EQ(person.smoothBBox().minX, (cube(0.03F).minX + cube(0.04F).minX) * 0.5F);
  EXPECT_FALSE(chair.mayMove());
  EXPECT_EQ(chair.previousBBoxes().size(), 5U);
  EXPECT_EQ(chair.smoothBBox(), cube(0.03F));
}

TEST(SemanticNetwork, WhatNeverOverlaps) {
  const BoundingBox3D base{0, 1, 0, 1, 0, 1};
  const std::tuple<const char*, BoundingBox3D, bool> cases[] = {
      {"itself", base, true},
      {"touching on x", {1, 2, 0, 1, 0, 1}, false},
      {"touching on z", {0, 1, 0, 1, -1, 0}, false},
      {"apart on y only", {0, 1, 1.5F, 2, 0, 1}, false},
      {"inside", {0.4F, 0.6F, 0.4F, 0.6F, 0.4F, 0.6F}, true},
      {"flat", {0, 1, 0.5F, 0.5F, 0, 1}, false},
      {"bounds swapped", {1, 0, 0, 1, 0, 1}, false},
      {"endless", {-INF, INF, -INF, INF, -INF, INF}, false},
      {"not a number", {0, 1, NOT_A_NUMBER, 1, 0, 1}, false},
      {"too large for its extent", {-3e38F, 3e38F, 0, 1, 0, 1}, false},
      {"huge", {-1e30F, 1e30F, -1e30F, 1e30F, -1e30F, 1e30F}, false},  // the unit box is lost in the rounding
      {"large", {-1e6F, 1e6F, -1e6F, 1e6F, -1e6F, 1e6F}, true},
  };
  for (const auto& [what, box, expected] : cases) {
    EXPECT_EQ(overlaps(base, box), expected) << what;
    SemanticNetwork network;
    network.observe("cup", 1, base, nullptr, false);
    network.observe("cup", 1, box, nullptr, false);
    EXPECT_EQ(network.totalTrackedObjectCount(), expected ? 1 : 2) << what;
    SemanticNetwork reversed;
    reversed.observe("cup", 1, box, nullptr, false);
    reversed.observe("cup", 1, base, nullptr, false);
    EXPECT_EQ(reversed.totalTrackedObjectCount(), expected ? 1 : 2) << what << ", seen first";
  }
}

platform::UIColor colorOfFirstNode(const TrackedObject& object) {
  return object.visualNodes().at(0)->geometry()->firstMaterial.diffuse;
}

TEST(SemanticNetwork, TurnsCyanWithTheSixthMatch) {
  SemanticNetwork network;
  const auto scene = std::make_shared<SCNScene>();
  observeTimes(network, 1, "chair", cube(0), scene);
  const TrackedObject& chair = *network.trackedObjects()[0];
  EXPECT_FALSE(chair.isVisible()) << "not drawn until it is seen again";
  observeTimes(network, 5, "chair", cube(0), scene);
  EXPECT_EQ(chair.seenFrames(), 5);
  EXPECT_EQ(colorOfFirstNode(chair), platform::UIColor::redColor());
  observeTimes(network, 1, "chair", cube(0), scene);
  EXPECT_EQ(colorOfFirstNode(chair), platform::UIColor::cyanColor());
  EXPECT_EQ(scene->rootNode()->childNodes().size(), 14U) << "the former drawing is gone";
}

std::vector<std::string> attachedEdges(const SemanticNetwork& network) {
  std::vector<std::string> keys;
  for (const auto& [key, node] : network.visualEdges())
    if (node->parentNode()) keys.push_back(key);
  return keys;
}

TEST(SemanticNetwork, JoinsWhatStandsWithinAMetre) {
  using Keys = std::vector<std::string>;
  SemanticNetwork network;
  const auto scene = std::make_shared<SCNScene>();
  observeTimes(network, 6, "chair", cube(0), scene);
  observeTimes(network, 5, "person", cube(0.9F), scene);
  network.drawVisualEdges(*scene);
  EXPECT_EQ(attachedEdges(network), Keys{"0|0"}) << "the person was matched four times";

  observeTimes(network, 1, "person", cube(0.9F), scene);
  network.drawVisualEdges(*scene);
  EXPECT_EQ(attachedEdges(network), (Keys{"0|0", "0|1", "1|0", "1|1"}));
  const auto edges = network.visualEdges();
  EXPECT_TRUE(std::holds_alternative<platform::SCNSphere>(edges.at("0|0")->geometry()->shape));
  EXPECT_NEAR(std::get<platform::SCNCylinder>(edges.at("0|1")->geometry()->shape).height, 0.9, 1e-6);

  for (int i = 0; i < 4; ++i) network.observe("person", 0.5, cube(1.1F), scene, true);
  network.drawVisualEdges(*scene);
  EXPECT_EQ(attachedEdges(network), (Keys{"0|0", "1|1"}));

  for (int i = 0; i < 4; ++i) network.observe("person", 0.5, cube(0.95F), scene, true);
  network.drawVisualEdges(*scene);
  EXPECT_EQ(attachedEdges(network), (Keys{"0|0", "0|1", "1|0", "1|1"}));
  EXPECT_EQ(network.visualEdges().at("0|1"), edges.at("0|1")) << "a stored line is used again";
}

/// Everything that can be seen of both, in order: histories, matches, what is drawn. ASSERTs inside.
class Differential {
 public:
  void observe(const std::string& name, const BoundingBox3D& box, std::size_t scene, bool draw) {
    fast_.observe(name, 0.7, box, scene < 2 ? fastScenes_[scene] : nullptr, draw);
    plain_.observe(name, 0.7, box, scene < 2 ? plainScenes_[scene] : nullptr, draw);
  }

  void drawEdges(std::size_t scene) {
    fast_.drawVisualEdges(*fastScenes_[scene]);
    plain_.drawVisualEdges(*plainScenes_[scene]);
  }

  void addForeignNode(std::size_t scene, float x) {
    for (const auto& s : {fastScenes_[scene], plainScenes_[scene]}) {
      const auto node = std::make_shared<SCNNode>();
      node->setPosition({x, 0, 0});
      s->rootNode()->addChildNode(node);
    }
  }

  [[nodiscard]] std::size_t objectCount() const { return fast_.trackedObjects().size(); }

  void compare() {
    ASSERT_EQ(fast_.trackedObjects().size(), plain_.trackedObjects.size());
    for (std::size_t i = 0; i < plain_.trackedObjects.size(); ++i) {
      compareObjects(*fast_.trackedObjects()[i], plain_.trackedObjects[i]);
      if (::testing::Test::HasFatalFailure()) return;
    }
    for (std::size_t s = 0; s < 2; ++s) compareScenes(*fastScenes_[s], *plainScenes_[s]);
    compareEdges();
  }

 private:
  static void compareObjects(const TrackedObject& fast, const PlainTrackedObject& plain) {
    ASSERT_EQ(fast.objectClass(), plain.objectClass);
    ASSERT_EQ(fast.id(), plain.id);
    ASSERT_EQ(fast.isVisible(), plain.isVisible) << plain.id;
    ASSERT_EQ(fast.seenFrames(), plain.seenFrames) << plain.id;
    ASSERT_EQ(fast.previousBBoxes(), plain.previousBBoxes);
    ASSERT_EQ(fast.visualNodes().size(), plain.visualNodes.size());
    if (plain.seenFrames > 0) {  // otherwise the box may hold what is not a number
      ASSERT_EQ(fast.smoothBBox(), plain.smoothBBox) << plain.id;
    }
  }

  /// Equal, or both with something in it that is not a number.
  template <class Value>
  static bool same(const Value& fast, const Value& plain) {
    return fast == plain || (fast != fast && plain != plain);
  }

  static void compareScenes(const SCNScene& fast, const SCNScene& plain) {
    const auto fastNodes = fast.rootNode()->childNodes();
    const auto plainNodes = plain.rootNode()->childNodes();
    ASSERT_EQ(fastNodes.size(), plainNodes.size());
    for (std::size_t i = 0; i < plainNodes.size(); ++i) {
      ASSERT_TRUE(same(fastNodes[i]->position(), plainNodes[i]->position())) << i;
      ASSERT_TRUE(same(fastNodes[i]->orientation(), plainNodes[i]->orientation())) << i;
      ASSERT_TRUE(same(fastNodes[i]->scale(), plainNodes[i]->scale())) << i;
      ASSERT_EQ(fastNodes[i]->geometry() == nullptr, plainNodes[i]->geometry() == nullptr) << i;
      if (plainNodes[i]->geometry()) {
        ASSERT_TRUE(same(*fastNodes[i]->geometry(), *plainNodes[i]->geometry())) << i;
      }
    }
  }

  void compareEdges() {
    const auto fastEdges = fast_.visualEdges();
    ASSERT_EQ(fastEdges.size(), plain_.visualEdges.size());
    for (const auto& [key, node] : plain_.visualEdges) {
      ASSERT_TRUE(fastEdges.contains(key)) << key;
      ASSERT_EQ(fastEdges.at(key)->parentNode() == nullptr, node->parentNode() == nullptr) << key;
    }
  }

  SemanticNetwork fast_;
  PlainSemanticNetwork plain_;
  using Scenes = std::array<std::shared_ptr<SCNScene>, 2>;
  Scenes fastScenes_{std::make_shared<SCNScene>(), std::make_shared<SCNScene>()};
  Scenes plainScenes_{std::make_shared<SCNScene>(), std::make_shared<SCNScene>()};
};

/// Boxes of one kind; `spread` is the side of the room they stand in.
BoundingBox3D randomBox(std::mt19937& random, const std::string& kind, float spread) {
  std::uniform_real_distribution<float> place(-spread, spread);
  std::uniform_real_distribution<float> size(0.05F, 1.2F);
  std::uniform_int_distribution<int> pick(0, 11);
  const float x = place(random);
  const float y = place(random) / 4;
  const float z = place(random);
  BoundingBox3D box{x, x + size(random), y, y + size(random), z, z + size(random)};
  if (kind == "lattice") {  // many boxes touch exactly
    for (float BoundingBox3D::*field : {&BoundingBox3D::minX, &BoundingBox3D::maxX, &BoundingBox3D::minY,
                                        &BoundingBox3D::maxY, &BoundingBox3D::minZ, &BoundingBox3D::maxZ})
      box.*field = std::round(box.*field * 4) / 4;
  } else if (kind == "far") {  // gaps and overlaps of single units in the last place
    for (float BoundingBox3D::*field : {&BoundingBox3D::minX, &BoundingBox3D::maxX}) box.*field += 1e6F;
    box.minX = std::nextafter(box.minX, pick(random) < 6 ? INF : -INF);
  } else if (kind == "wild") {
    constexpr float values[] = {NOT_A_NUMBER, INF,   -INF, 3e38F, -3e38F, 1e30F,
                                -1e30F,       1e10F, 0,    -0.0F, 1e-40F, 1e-3F};
    for (float BoundingBox3D::*field : {&BoundingBox3D::minX, &BoundingBox3D::maxY, &BoundingBox3D::maxZ})
      if (pick(random) < 4) box.*field = values[pick(random)];
  } else if (kind == "mixed" && pick(random) == 0) {  // as large as a hall, or as small as a crumb
    const float half = pick(random) < 6 ? 20.0F : 0.004F;
    box = {x - half, x + half, y - half, y + half, z - half, z + half};
  }
  return box;
}

class TrackingLikeThePlainWalk : public testing::TestWithParam<const char*> {};

TEST_P(TrackingLikeThePlainWalk, GivesTheSameObjectsAndNodes) {
  const std::string kind = GetParam();
  const std::array<std::string, 3> names{"person", "chair", "cup"};
  for (unsigned seed = 0; seed < 8; ++seed) {
    std::mt19937 random(seed);
    const float spread = seed % 3 == 0 ? 0.8F : 3.0F;
    std::uniform_int_distribution<std::size_t> three(0, 2);
    std::uniform_int_distribution<int> percent(0, 99);
    Differential both;
    std::vector<BoundingBox3D> seen;
    for (int frame = 0; frame < 40; ++frame) {
      const std::size_t scene = percent(random) < 90 ? 0 : 1;
      for (int i = 0; i < 6; ++i) {
        const bool isNew = seen.size() < 4 || percent(random) < 25;
        if (isNew) seen.push_back(randomBox(random, kind, spread));
        const BoundingBox3D& box = isNew ? seen.back() : seen[random() % seen.size()];
        const std::size_t observedIn = percent(random) < 95 ? scene : 2;
        both.observe(names[three(random)], box, observedIn, percent(random) < 95);
      }
      if (percent(random) < 20) both.addForeignNode(scene, static_cast<float>(frame));
      both.drawEdges(scene);
      if (frame % 3 == 0 || frame == 39) both.compare();
      if (HasFatalFailure()) FAIL() << "seed " << seed << ", frame " << frame;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(SemanticNetwork, TrackingLikeThePlainWalk,
                         testing::Values("room", "lattice", "far", "wild", "mixed"),
                         [](const auto& instance) { return std::string(instance.param); });

/// Cubes of half a metre, 0.53 m apart on a square floor, each seen a little elsewhere every time: a sighting
/// overlaps its own object and now and then grazes a neighbour.
class Hall {
 public:
  explicit Hall(int side) : side_(side) {}

  BoundingBox3D sightingOf(int object) {
    const float x = 0.53F * static_cast<float>(object % side_) + jitter_(random_);
    const int row = object / side_;
    const float z = 0.53F * static_cast<float>(row) + jitter_(random_);
    return {x, x + 0.5F, jitter_(random_), 0.5F, z, z + 0.5F};
  }

 private:
  int side_;
  std::mt19937 random_{3};
  std::uniform_real_distribution<float> jitter_{-0.02F, 0.02F};
};

TEST(SemanticNetwork, TenThousandObjectsAreThoseOfThePlainWalk) {
  Differential both;
  Hall hall(104);
  const auto observe = [&](int object) {
    both.observe(object % 3 == 0 ? "chair" : "cup", hall.sightingOf(object), 2, false);
  };
  for (int object = 0; object < 104 * 104; ++object) observe(object);
  for (int i = 0; i < 500; ++i) observe(i * 7919 % (104 * 104));
  both.compare();
  EXPECT_GT(both.objectCount(), 10000U);
}

TEST(SemanticNetwork, AThousandObservationsOfEachAreThoseOfThePlainWalk) {
  Differential both;
  Hall hall(3);
  for (int round = 0; round <= 1000; ++round)
    for (int object = 0; object < 3; ++object)
      both.observe(object == 2 ? "person" : "chair", hall.sightingOf(object), 0, round > 990);
  both.drawEdges(0);
  both.compare();
}

}  // namespace
}  // namespace geoloom
