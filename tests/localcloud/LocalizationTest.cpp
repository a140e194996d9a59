#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>
#include <random>

#include <gmock/gmock.h>

#include "localcloud/matching/Decision.h"
#include "localcloud/matching/Inspection.h"
#include "localcloud/matching/Landmarks.h"
#include "localcloud/matching/RigidTransform.h"

namespace geoloom::localcloud {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double DISTANCE = 0.5;
const RigidTransform TRUTH{.translation = {4, -0.3, 1}, .angle = 0.7};

struct Object {
  std::string name;
  Point at;
};

/// Each object in `count` frames, with a normal error of 2 cm.
std::vector<Sighting> walk(const std::vector<Object>& objects, const RigidTransform& toSession = {},
                           int count = 20, unsigned seed = 1) {
  std::mt19937 random(seed);
  std::normal_distribution<double> error(0, 0.02);
  std::vector<Sighting> seen;
  for (int frame = 0; frame < count; ++frame) {
    for (const Object& object : objects) {
      const Point p = toSession.apply(object.at);
      seen.push_back({frame, object.name, {p.x + error(random), p.y + error(random), p.z + error(random)}});
    }
  }
  return seen;
}

Localization localizeWalks(const std::vector<Sighting>& map, const std::vector<Sighting>& session,
                           const std::vector<Point>& places = {{1, 1, 1}}, double distance = DISTANCE) {
  return localize(findLandmarks(map, Age::ignored), findLandmarks(session, Age::fades), places, distance);
}

TEST(RigidTransform, TurnsAboutTheVerticalAndIsWrittenAsShortestFloats) {
  const RigidTransform quarter{.translation = {0, 0, 0}, .angle = std::acos(0.0)};
  EXPECT_LT(distance(quarter.apply({1, 5, 0}), {0, 5, -1}), 1e-12);
  EXPECT_EQ((RigidTransform{.translation = {1, -2.5, 0.1}, .angle = 1.5707963267948966}.text()),
            "1,-2.5,0.1,1.5707964");
}

TEST(FitTransform, WeighsPairsByTheirVariance) {
  std::vector<LandmarkPair> pairs;
  for (const Point& p : {Point{1, 0, 2}, Point{-1, 1, 0.5}, Point{0.3, 0.2, -2}})
    pairs.push_back({p, TRUTH.apply(p), 1, 1});
  const auto error = [&] {
    return distance(fitTransform(pairs).transform.apply({3, 1, 3}), TRUTH.apply({3, 1, 3}));
  };
  EXPECT_LT(error(), 1e-12);
  pairs.push_back({{0, 0, 0}, {9, 9, 9}, 1e9, 1e9});
  EXPECT_LT(error(), 1e-6);
  pairs.back() = {{0, 0, 0}, {9, 9, 9}, 1, 1};
  EXPECT_GT(error(), 0.1);
}

TEST(FindLandmarks, SeparatesObjectsAndIgnoresStraySightings) {
  std::vector<Sighting> seen = walk({{"chair", {0, 0, 0}}, {"chair", {1.2, 0, 0}}, {"cup", {0.15, 0, 0}}});
  // Rays that slipped past the chair hit the wall behind it.
  for (int frame = 0; frame < 4; ++frame) seen.push_back({frame, "chair", {0, 0, -0.6}});
  seen.push_back({1, "chair", {std::numeric_limits<double>::quiet_NaN(), 0, 0}});
  const auto landmarks = findLandmarks(seen, Age::ignored);
  ASSERT_EQ(landmarks.size(), 3U);
  for (const Point& at : {Point{0, 0, 0}, Point{1.2, 0, 0}, Point{0.15, 0, 0}}) {
    EXPECT_TRUE(std::any_of(landmarks.begin(), landmarks.end(), [&](const Landmark& landmark) {
      return distance(landmark.position, at) < 0.03;
    }));
  }
}

TEST(FindLandmarks, TwoNamesAtOnePlaceAreOneObject) {
  std::vector<Sighting> seen = walk({{"car", {0, 0, 0}}, {"truck", {0.02, 0, 0}}});
  for (Sighting& sighting : walk({{"vase", {2, 0, 0}}, {"bottle", {2, 0, 0}}})) {
    // One name a frame.
    if ((sighting.frame % 3 == 0) == (sighting.name == "bottle")) seen.push_back(sighting);
  }
  const auto landmarks = findLandmarks(seen, Age::ignored);
  ASSERT_EQ(landmarks.size(), 2U);
  EXPECT_NEAR(landmarks[0].names.at("car"), 0.5, 0.01);
  EXPECT_EQ(landmarks[1].name(), "vase");
  EXPECT_EQ(landmarks[1].names.size(), 2U);
}

TEST(FindLandmarks, FollowsDriftToTheLatestFrame) {
  std::vector<Sighting> seen =
      walk({{"cup", {0, 0, 2}}, {"book", {2, 0, 0}}, {"bowl", {-1, 0, -1}}}, {}, 200);
  for (Sighting& sighting : seen) sighting.position.x += 0.002 * static_cast<double>(sighting.frame);
  for (const Landmark& landmark : findLandmarks(seen, Age::fades)) {
    const double x = landmark.name() == "cup" ? 0 : landmark.name() == "book" ? 2 : -1;
    EXPECT_NEAR(landmark.position.x, x + 0.002 * 199, 0.05) << landmark.name();
  }
}

const std::vector<Object> ROOM = {{"book", {0, 0.5, 0}},
                                  {"cup", {2, 0.8, 0}},
                                  {"bottle", {0, 1, 3}},
                                  {"vase", {3, 0.4, 2}},
                                  {"keyboard", {1.5, 0.7, 3.5}}};

std::vector<Object> without(std::vector<Object> objects, std::size_t count) {
  objects.resize(objects.size() - count);
  return objects;
}

std::vector<Object> changed(std::size_t count, double by) {
  std::vector<Object> objects = ROOM;
  for (std::size_t i = 0; i < count; ++i) objects[i].at.x += by * (i % 2 == 0 ? 1 : -1.3);
  return objects;
}

struct Case {
  const char* name;
  std::vector<Object> map;
  std::vector<Object> session;
  Reason reason;
  std::size_t pairs;  ///< when accepted
  std::vector<std::string> moved = {};
  Point place = {1, 1, 1};
};

class Decisions : public ::testing::TestWithParam<Case> {};

TEST_P(Decisions, AcceptOrSayWhyNot) {
  const Case& test = GetParam();
  const auto found = localizeWalks(walk(test.map), walk(test.session, TRUTH, 20, 2), {test.place});
  EXPECT_EQ(found.reason, test.reason) << text(found.reason);
  if (!found.accepted()) return;
  EXPECT_EQ(found.matchCount, test.pairs);
  EXPECT_EQ(found.moved, test.moved);
  const double error = distance(found.estimate.transform.apply(test.place), TRUTH.apply(test.place));
  EXPECT_LT(error, 0.03);
  EXPECT_LT(error, 2 * found.estimate.predictedErrorMeters);
  EXPECT_LT(found.estimate.predictedErrorMeters, 0.1);
}

const std::vector<Object> TWINS = {
    {"cup", {-1, 0.5, 0}}, {"cup", {1, 0.5, 0}}, {"book", {0, 0.5, 2}}, {"book", {0, 0.5, -2}}};
const std::vector<Object> TWINS_AND_ONE = {{"cup", {-1, 0.5, 0}},
                                           {"cup", {1, 0.5, 0}},
                                           {"book", {0, 0.5, 2}},
                                           {"book", {0, 0.5, -2}},
                                           {"vase", {1, 0.5, 2}}};
const std::vector<Object> MIRRORED = {{"book", {0, 0.5, 0}},
                                      {"cup", {-2, 0.8, 0}},
                                      {"bottle", {0, 1, 3}},
                                      {"vase", {-3, 0.4, 2}},
                                      {"keyboard", {-1.5, 0.7, 3.5}}};

INSTANTIATE_TEST_SUITE_P(
    Localization, Decisions,
    ::testing::Values(Case{"sameRoom", ROOM, ROOM, Reason::accepted, 5},
                      Case{"partOfTheRoom", ROOM, without(ROOM, 2), Reason::accepted, 3},
                      Case{"oneObject", ROOM, without(ROOM, 4), Reason::tooFewObjects, 0},
                      Case{"nothing", ROOM, {}, Reason::tooFewObjects, 0},
                      Case{"oneMoved", ROOM, changed(1, 0.8), Reason::accepted, 4, {"book"}},
                      Case{"mirrored", ROOM, MIRRORED, Reason::missingObjects, 0},
                      Case{"symmetric", TWINS, TWINS, Reason::couldBeElsewhere, 0},
                      Case{"oneDecides", TWINS_AND_ONE, TWINS_AND_ONE, Reason::accepted, 5},
                      Case{"farAway", ROOM, ROOM, Reason::predictedErrorTooLarge, 0, {}, {60, 0, 0}}),
    [](const auto& test) { return test.param.name; });

TEST(Localize, NamesWhatIsMissing) {
  std::vector<Object> session = ROOM;
  session.erase(session.begin());
  std::vector<Object> map = ROOM;
  map[0].at = {2.3, 0.5, 0.3};
  const auto found = localizeWalks(walk(map), walk(session, TRUTH, 20, 2));
  EXPECT_TRUE(found.accepted());
  EXPECT_THAT(found.missing, ElementsAre("book"));
  EXPECT_THAT(found.moved, IsEmpty());
}

TEST(Localize, PairsOnlyWithinTheMatchingDistance) {
  EXPECT_EQ(localizeWalks(walk(ROOM), walk(changed(1, 0.08), TRUTH, 20, 2)).matchCount, 5U);
  EXPECT_EQ(localizeWalks(walk(ROOM), walk(changed(1, 0.08), TRUTH, 20, 2), {{1, 1, 1}}, 0.05).matchCount,
            4U);
}

TEST(Localize, StaysSilentInRoomsOfTheSameObjects) {
  std::mt19937 random(7);
  const auto uniform = [&](double to) { return std::uniform_real_distribution(0.0, to)(random); };
  int accepted = 0;
  for (int room = 0; room < 200; ++room) {
    std::vector<Object> other = ROOM;
    for (Object& object : other) object.at = {uniform(5), object.at.y, uniform(4)};
    if (localizeWalks(walk(ROOM), walk(other, TRUTH)).accepted()) ++accepted;
  }
  EXPECT_LE(accepted, 2);
}

TEST(Localize, LargeAndHostileScenesCostBoundedTime) {
  std::mt19937 random(3);
  const auto uniform = [&](double to) { return std::uniform_real_distribution(0.0, to)(random); };
  for (const int names : {24, 1}) {
    std::vector<Object> objects;
    for (int i = 0; i < 96; ++i)
      objects.push_back({"object " + std::to_string(i % names), {uniform(12), uniform(2), uniform(12)}});
    const auto map = findLandmarks(walk(objects), Age::ignored);
    const auto session = findLandmarks(walk(objects, TRUTH, 20, 2), Age::fades);
    const std::clock_t start = std::clock();
    const auto found = localize(map, session, {}, 1e6);
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    // Of 96 objects with one name each side keeps 24, hardly the same ones.
    EXPECT_TRUE(found.accepted() || names == 1);
    EXPECT_LT(seconds, 10) << names << ": a second, in a build that sanitizers slow down";
  }
}

TEST(Inspect, TellsWhatIsAmbiguousAndWhatSuffices) {
  const Inspection room = inspect(findLandmarks(walk(ROOM), Age::ignored), {{1, 1, 1}}, DISTANCE);
  EXPECT_TRUE(room.expected.accepted());
  EXPECT_THAT(room.isAmbiguous, ::testing::Each(false));
  EXPECT_GE(room.smallestSet.size(), 2U);
  EXPECT_LE(room.smallestSet.size(), 3U);
  const Inspection twins = inspect(findLandmarks(walk(TWINS), Age::ignored), {}, DISTANCE);
  EXPECT_EQ(twins.expected.reason, Reason::couldBeElsewhere);
  EXPECT_THAT(twins.isAmbiguous, ::testing::Each(true));
  EXPECT_THAT(twins.smallestSet, IsEmpty());
  EXPECT_EQ(inspect({}, {}, DISTANCE).expected.reason, Reason::tooFewObjects);
}

TEST(Estimates, ReplaceEachOtherOnlyForAVisibleChange) {
  const Estimate older{TRUTH, 0.1};
  const auto replacesAfter = [&](double move, double predicted) {
    Estimate newer{TRUTH, predicted};
    newer.transform.translation.x += move;
    return replaces(newer, older, {{1, 0, 0}});
  };
  EXPECT_FALSE(replacesAfter(0.01, 0.09));
  EXPECT_TRUE(replacesAfter(0.03, 0.09));
  EXPECT_TRUE(replacesAfter(0, 0.05));
  EXPECT_GT(qualityOf(0.02), qualityOf(0.03));
}

}  // namespace
}  // namespace geoloom::localcloud
