#include <bit>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/track/SemanticNetwork.h"

namespace geoloom {
namespace {

using platform::SCNNode;
using platform::SCNScene;

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
  EXPECT_EQ(median({NOT_A_NUMBER, 1, NOT_A_NUMBER, 3, 2}), 3.0F) << "NaN comes last";
}

TEST(SortedValues, MedianEqualsThatOfTheListBitForBit) {
  std::mt19937 random(11);
  std::uniform_int_distribution<int> draw(-3, 3);
  SortedValues sorted;
  std::vector<float> values;
  for (int i = 0; i < 200; ++i) {
    const int drawn = draw(random);
    values.push_back(drawn == 0 && i % 2 == 0 ? -0.0F : static_cast<float>(drawn) * 0.1F);
    sorted.insert(values.back());
    if (i % 3 == 2) {
      sorted.remove(values.front());
      values.erase(values.begin());
    }
    ASSERT_EQ(std::bit_cast<std::uint32_t>(sorted.median()), std::bit_cast<std::uint32_t>(median(values)));
  }
}

TEST(SemanticNetwork, PersonsKeepFourBoxesOtherClassesAll) {
  SemanticNetwork network;
  for (int i = 0; i < 6; ++i) {
    network.observe("person", 0.9, cube(0.01F * static_cast<float>(i)), nullptr, false);
    network.observe("chair", 0.9, cube(0.01F * static_cast<float>(i)), nullptr, false);
  }
  ASSERT_EQ(network.totalTrackedObjectCount(), 2) << "one object per class";
  const TrackedObject& person = *network.trackedObjects()[0];
  const TrackedObject& chair = *network.trackedObjects()[1];
  EXPECT_TRUE(person.mayMove());
  EXPECT_EQ(person.seenFrames(), 5);
  EXPECT_EQ(person.previousBBoxes(), (std::vector{cube(0.02F), cube(0.03F), cube(0.04F), cube(0.05F)}));
  EXPECT_EQ(person.smoothBBox().minX, (cube(0.03F).minX + cube(0.04F).minX) * 0.5F);
  EXPECT_FALSE(chair.mayMove());
  EXPECT_EQ(chair.id(), 1);
  EXPECT_EQ(chair.previousBBoxes().size(), 5U);
  EXPECT_EQ(chair.smoothBBox(), cube(0.03F));
}

TEST(SemanticNetwork, MatchesOnlyOverlappingBoxes) {
  const BoundingBox3D base{0, 1, 0, 1, 0, 1};
  const std::tuple<const char*, BoundingBox3D, bool> cases[] = {
      {"same box", base, true},
      {"touching on x", {1, 2, 0, 1, 0, 1}, false},
      {"touching on z", {0, 1, 0, 1, -1, 0}, false},
      {"apart on y only", {0, 1, 1.5F, 2, 0, 1}, false},
      {"inside", {0.4F, 0.6F, 0.4F, 0.6F, 0.4F, 0.6F}, true},
      {"flat", {0, 1, 0.5F, 0.5F, 0, 1}, false},
      {"bounds swapped", {1, 0, 0, 1, 0, 1}, false},
      {"infinite", {-INF, INF, -INF, INF, -INF, INF}, false},
      {"not a number", {0, 1, NOT_A_NUMBER, 1, 0, 1}, false},
      {"huge: the unit box is lost by rounding", {-1e30F, 1e30F, -1e30F, 1e30F, -1e30F, 1e30F}, false},
  };
  for (const auto& [what, box, expected] : cases) {
    EXPECT_EQ(overlaps(base, box), expected) << what;
    EXPECT_EQ(overlaps(box, base), expected) << what;
    SemanticNetwork network;
    network.observe("cup", 1, base, nullptr, false);
    network.observe("cup", 1, box, nullptr, false);
    EXPECT_EQ(network.totalTrackedObjectCount(), expected ? 1 : 2) << what;
  }
}

TEST(SemanticNetwork, MatchesTheFirstOverlappingObjectOfItsClass) {
  SemanticNetwork network;
  const auto scene = std::make_shared<SCNScene>();
  observeTimes(network, 2, "cup", cube(-0.3F), scene);
  observeTimes(network, 2, "chair", cube(-0.3F), scene);
  observeTimes(network, 2, "chair", cube(0.3F), scene);
  const auto& objects = network.trackedObjects();
  ASSERT_EQ(objects.size(), 3U);
  ASSERT_FALSE(objects[0]->isVisible()) << "the chair's box covered it";
  ASSERT_TRUE(objects[1]->isVisible());
  ASSERT_TRUE(objects[2]->isVisible());

  network.observe("chair", 0.5, cube(0), scene, true);
  EXPECT_EQ(objects[0]->seenFrames(), 1);
  EXPECT_EQ(objects[1]->seenFrames(), 2);
  EXPECT_EQ(objects[2]->seenFrames(), 1);
  EXPECT_TRUE(objects[1]->isVisible());
  EXPECT_FALSE(objects[2]->isVisible()) << "a second overlapping object loses its drawing";
  EXPECT_EQ(scene->rootNode()->childNodes().size(), 14U);

  network.observe("chair", 0.5, cube(0), scene, false);
  EXPECT_FALSE(objects[1]->isVisible()) << "drawing is off";
  EXPECT_TRUE(scene->rootNode()->childNodes().empty());
}

platform::UIColor colorOfFirstNode(const TrackedObject& object) {
  return object.visualNodes().at(0)->geometry()->firstMaterial.diffuse;
}

TEST(SemanticNetwork, TurnsCyanWithTheSixthMatch) {
  SemanticNetwork network;
  const auto scene = std::make_shared<SCNScene>();
  observeTimes(network, 1, "chair", cube(0), scene);
  const TrackedObject& chair = *network.trackedObjects()[0];
  EXPECT_FALSE(chair.isVisible()) << "not drawn before its first match";
  observeTimes(network, 5, "chair", cube(0), scene);
  EXPECT_EQ(chair.seenFrames(), 5);
  EXPECT_EQ(colorOfFirstNode(chair), platform::UIColor::redColor());
  observeTimes(network, 1, "chair", cube(0), scene);
  EXPECT_EQ(colorOfFirstNode(chair), platform::UIColor::cyanColor());
  EXPECT_EQ(scene->rootNode()->childNodes().size(), 14U) << "the previous drawing is removed";
}

using Keys = std::vector<std::string>;

Keys attachedEdges(const SemanticNetwork& network) {
  Keys keys;
  for (const auto& [key, node] : network.visualEdges())
    if (node->parentNode()) keys.push_back(key);
  return keys;
}

TEST(SemanticNetwork, JoinsObjectsWithinAMetre) {
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

  observeTimes(network, 4, "person", cube(1.1F), scene);
  network.drawVisualEdges(*scene);
  EXPECT_EQ(attachedEdges(network), (Keys{"0|0", "1|1"}));
  EXPECT_EQ(network.visualEdges().size(), 4U) << "detached lines are kept";

  observeTimes(network, 4, "person", cube(1), scene);
  network.drawVisualEdges(*scene);
  EXPECT_EQ(attachedEdges(network), (Keys{"0|0", "0|1", "1|0", "1|1"})) << "a metre is within reach";
  EXPECT_EQ(network.visualEdges().at("0|1"), edges.at("0|1")) << "a stored line is reused";

  const auto children = scene->rootNode()->childNodes();
  ASSERT_EQ(children.size(), 2 * 14 + 4U);
  for (std::size_t i = 0; const char* key : {"0|0", "0|1", "1|0", "1|1"})
    EXPECT_EQ(children[28 + i++], edges.at(key)) << "lines are added in the order of the objects";

  network.observe("person", 0.5, cube(1), scene, false);
  network.drawVisualEdges(*scene);
  EXPECT_EQ(attachedEdges(network), Keys{"0|0"}) << "an invisible object has no lines";
}

}  // namespace
}  // namespace geoloom
