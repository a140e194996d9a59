#include <cmath>
#include <numbers>
#include <random>

#include <gmock/gmock.h>

#include "localcloud/Localization.h"

namespace geoloom::localcloud {
namespace {

using ::testing::DoubleNear;

constexpr double DISTANCE = 0.5;

double apart(const Point& a, const Point& b) {
  return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}
double turn(double a, double b) {
  return std::abs(std::remainder(a - b, 2 * std::numbers::pi));
}

/// A room with a truth: objects, and a walk through it that sees them with noise from its own coordinates.
class Room {
 public:
  explicit Room(unsigned seed) : random_(seed) {
    truth_ = {.translation = {uniform(-5, 5), uniform(-0.5, 0.5), uniform(-5, 5)},
              .angle = uniform(-3.14, 3.14)};
  }

  double uniform(double low, double high) { return std::uniform_real_distribution(low, high)(random_); }

  void add(const std::string& name, const Point& at) { objects_.push_back({name, at, 1}); }

  /// Objects at least a metre from each other, `repeats` of each name.
  void furnish(int names, int repeats) {
    for (int i = 0; i < names * repeats; ++i) {
      Point at;
      do {
        at = {uniform(-3, 3), uniform(0, 1.5), uniform(-3, 3)};
      } while (std::any_of(objects_.begin(), objects_.end(),
                           [&](const Landmark& other) { return apart(other.position, at) < 1; }));
      add("object " + std::to_string(i % names), at);
    }
  }

  /// Every object some times, in random order; each sighting off by a normal error.
  std::vector<Observation> walk(int sightings, double noise, const RigidTransform& transform = {}) {
    std::normal_distribution<double> error(0, noise);
    std::vector<Observation> seen;
    for (const Landmark& object : objects_) {
      const Point at = transform.apply(object.position);
      for (int i = 0; i < sightings; ++i)
        seen.push_back({object.name, {at.x + error(random_), at.y + error(random_), at.z + error(random_)}});
    }
    std::shuffle(seen.begin(), seen.end(), random_);
    return seen;
  }

  /// A name anywhere in the room.
  void clutter(std::vector<Observation>& seen, int count, const std::vector<std::string>& names) {
    for (int i = 0; i < count; ++i) {
      const auto which = std::uniform_int_distribution<std::size_t>(0, names.size() - 1)(random_);
      seen.push_back({names[which], {uniform(-8, 8), uniform(0, 2), uniform(-8, 8)}});
    }
    std::shuffle(seen.begin(), seen.end(), random_);
  }

  /// Largest error over the places an application would put an asset.
  [[nodiscard]] double error(const RigidTransform& found) const {
    double worst = 0;
    for (const Point& p :
         {Point{0, 0, 0}, Point{3, 1, 3}, Point{-3, 1, 3}, Point{3, 0, -3}, Point{-3, 0, -3}})
      worst = std::max(worst, apart(found.apply(p), truth_.apply(p)));
    return worst;
  }

  [[nodiscard]] const RigidTransform& truth() const { return truth_; }
  [[nodiscard]] std::size_t size() const { return objects_.size(); }

 private:
  std::mt19937 random_;
  RigidTransform truth_;
  std::vector<Landmark> objects_;
};

TEST(RigidTransform, TurnsAboutTheVerticalAndIsWrittenAsShortestFloats) {
  const RigidTransform quarter{.translation = {0, 0, 0}, .angle = std::numbers::pi / 2};
  EXPECT_LT(apart(quarter.apply({1, 5, 0}), {0, 5, -1}), 1e-12);
  EXPECT_EQ((RigidTransform{.translation = {1, -2.5, 0.1}, .angle = 1.5707963267948966}.text()),
            "1,-2.5,0.1,1.5707964");
}

TEST(FitTransform, FindsTheExactTransformAndBelievesHeavierPairsMore) {
  Room room(1);
  std::vector<LandmarkPair> pairs;
  for (const Point& p : {Point{1, 0, 2}, Point{-1, 1, 0.5}, Point{0.3, 0.2, -2}})
    pairs.push_back({p, room.truth().apply(p), 1});
  const RigidTransform exact = fitTransform(pairs);
  EXPECT_LT(room.error(exact), 1e-12);
  pairs.push_back({{0, 0, 0}, {9, 9, 9}, 1e-9});
  EXPECT_LT(room.error(fitTransform(pairs)), 1e-6);
  pairs.back().weight = 1;
  EXPECT_GT(room.error(fitTransform(pairs)), 0.1);
}

TEST(FindLandmarks, SeparatesObjectsOfOneNameAndIgnoresStraySightings) {
  Room room(2);
  room.add("chair", {0, 0, 0});
  room.add("chair", {1.2, 0, 0});
  room.add("table", {0.1, 0, 0});
  std::vector<Observation> seen = room.walk(40, 0.08);
  // A ray that slipped past the chair hit what stands behind it.
  for (int i = 0; i < 8; ++i) seen.push_back({"chair", {0, 0, -0.6}});
  seen.push_back({"chair", {std::nan(""), 0, 0}});
  const auto landmarks = findLandmarks(seen, DISTANCE);
  ASSERT_EQ(landmarks.size(), 3U);
  EXPECT_EQ(landmarks[0].name, "chair");
  EXPECT_EQ(landmarks[2].name, "table");
  for (const Landmark& landmark : landmarks) {
    const bool table = landmark.name == "table";
    const double error = std::min(apart(landmark.position, {table ? 0.1 : 0, 0, 0}),
                                  table ? 9 : apart(landmark.position, {1.2, 0, 0}));
    EXPECT_LT(error, 0.05) << landmark.name;
    EXPECT_GE(landmark.sightings, 38);
  }
}

TEST(FindLandmarks, OfManySightingsKeepsAnEvenShare) {
  std::vector<Observation> seen;
  for (int i = 0; i < 20'000; ++i) seen.push_back({"cup", {i < 10'000 ? 0.0 : 3.0, 0, 0}});
  const auto landmarks = findLandmarks(seen, DISTANCE);
  ASSERT_EQ(landmarks.size(), 2U);
  EXPECT_EQ(landmarks[0].sightings, landmarks[1].sightings);
}

struct Scene {
  const char* name;
  int names, repeats, sightings;
  double noise;
  int strays;
  double medianError, worstError;
};

class RandomRooms : public ::testing::TestWithParam<Scene> {};

TEST_P(RandomRooms, AreFoundAgain) {
  const Scene& scene = GetParam();
  std::vector<double> errors;
  for (unsigned seed = 0; seed < 60; ++seed) {
    Room room(seed);
    room.furnish(scene.names, scene.repeats);
    std::vector<std::string> names = {"only clutter"};
    for (int i = 0; i < scene.names; ++i) names.push_back("object " + std::to_string(i));
    auto map = room.walk(scene.sightings, scene.noise);
    auto session = room.walk(scene.sightings, scene.noise, room.truth());
    room.clutter(map, scene.strays, names);
    room.clutter(session, scene.strays, names);
    const auto found = localize(map, session, DISTANCE);
    ASSERT_TRUE(found) << seed;
    EXPECT_GE(found->pairs.size() + 1, room.size()) << seed;
    errors.push_back(room.error(found->transform));
  }
  std::sort(errors.begin(), errors.end());
  EXPECT_LE(errors[errors.size() / 2], scene.medianError);
  EXPECT_LE(errors.back(), scene.worstError);
}

INSTANTIATE_TEST_SUITE_P(Localization, RandomRooms,
                         ::testing::Values(Scene{"exact", 4, 1, 5, 0, 0, 1e-6, 1e-6},
                                           Scene{"noise", 5, 1, 25, 0.05, 0, 0.03, 0.08},
                                           Scene{"sparse", 6, 1, 4, 0.05, 0, 0.06, 0.2},
                                           Scene{"clutter", 6, 1, 25, 0.05, 20, 0.03, 0.12},
                                           Scene{"twins", 3, 2, 25, 0.05, 10, 0.03, 0.12},
                                           Scene{"oneNameOnly", 1, 6, 25, 0.05, 0, 0.03, 0.12}),
                         [](const auto& test) { return test.param.name; });

TEST(MatchLandmarks, OutliersDoNotPullTheResult) {
  Room room(3);
  room.furnish(6, 1);
  auto map = room.walk(20, 0.02);
  auto session = room.walk(20, 0.02, room.truth());
  // One object was moved a little between the walks: still a pair, but not one to believe.
  for (Observation& seen : session)
    if (seen.name == "object 0") seen.position.x += 0.4;
  const auto found = localize(map, session, DISTANCE);
  ASSERT_TRUE(found);
  EXPECT_LT(room.error(found->transform), 0.05);
}

TEST(MatchLandmarks, MirroredRoomsShareOnlyTwoPairs) {
  // No turn about the vertical makes a left hand of a right one: at most two of three pairs fit exactly.
  const std::vector<Landmark> map = {{"a", {0, 0, 0}, 9}, {"b", {3, 0, 0}, 9}, {"c", {0, 0, 5}, 9}};
  const std::vector<Landmark> mirrored = {{"a", {0, 0, 0}, 9}, {"b", {-3, 0, 0}, 9}, {"c", {0, 0, 5}, 9}};
  const auto found = matchLandmarks(map, mirrored, 0.3);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->pairs.size(), 2U);
}

TEST(MatchLandmarks, ASymmetricRoomIsDecidedByMorePairsThenBySmallerResidual) {
  // Two chairs and a cup: turned by half a circle about their middle, the chairs fit as well.
  const std::vector<Landmark> map = {
      {"chair", {-1, 0, 0}, 9}, {"chair", {1, 0, 0}, 9}, {"cup", {0, 0, 2}, 9}};
  const RigidTransform truth{.translation = {4, 0, 1}, .angle = 0.7};
  std::vector<Landmark> session = map;
  for (Landmark& landmark : session) landmark.position = truth.apply(landmark.position);
  auto found = matchLandmarks(map, session, DISTANCE);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->pairs.size(), 3U);
  EXPECT_THAT(found->transform.angle, DoubleNear(0.7, 1e-9));

  // With heights that differ slightly, the way round that puts high on high leaves less.
  const std::vector<Landmark> chairs = {{"chair", {-1, 0, 0}, 9}, {"chair", {1, 0.2, 0}, 9}};
  std::vector<Landmark> turned = chairs;
  for (Landmark& landmark : turned) landmark.position = truth.apply(landmark.position);
  found = matchLandmarks(chairs, turned, DISTANCE);
  ASSERT_TRUE(found);
  EXPECT_LT(turn(found->transform.angle, 0.7), 1e-9);
}

TEST(MatchLandmarks, NeedsTwoPlacesHalfAMetreApartOnTheGround) {
  const auto match = [](const Point& second) {
    const std::vector<Landmark> landmarks = {{"a", {0, 0, 0}, 3}, {"b", second, 3}};
    return matchLandmarks(landmarks, landmarks, 0.1).has_value();
  };
  EXPECT_TRUE(match({0.5, 0, 0}));
  EXPECT_FALSE(match({0.49, 0, 0}));
  EXPECT_FALSE(match({0.1, 2, 0})) << "one above the other says nothing of the heading";
  EXPECT_FALSE(matchLandmarks({{"a", {0, 0, 0}, 3}}, {{"a", {0, 0, 0}, 3}}, 0.1));
  EXPECT_FALSE(matchLandmarks({}, {}, 0.1));
}

TEST(MatchLandmarks, PairsOnlyEqualNamesAndEachLandmarkOnce) {
  const std::vector<Landmark> map = {{"a", {0, 0, 0}, 3}, {"b", {2, 0, 0}, 3}, {"c", {0, 0, 2}, 3}};
  std::vector<Landmark> session = map;
  session[2].name = "d";
  session.push_back({"a", {0.1, 0, 0}, 3});
  const auto found = matchLandmarks(map, session, DISTANCE);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->pairs.size(), 2U);
  EXPECT_LT(apart(found->transform.apply({0, 0, 0}), {0, 0, 0}), 1e-9) << "the nearer of two";
}

TEST(MatchLandmarks, ACrowdOfOneNameEndsInBoundedWork) {
  Room room(4);
  std::vector<Landmark> crowd;
  for (int i = 0; i < 3000; ++i)
    crowd.push_back({"leaf", {room.uniform(-9, 9), 0, room.uniform(-9, 9)}, 1 + i % 7});
  EXPECT_TRUE(matchLandmarks(crowd, crowd, 1e6));
}

}  // namespace
}  // namespace geoloom::localcloud
