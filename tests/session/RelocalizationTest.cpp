#include <cmath>

#include <gmock/gmock.h>

#include "geoloom/session/Relocalization.h"

namespace geoloom {
namespace {

using platform::JSON;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const auto QUIET = [](std::string_view) {};

std::vector<std::shared_ptr<MapAsset>> relocalized(const char* stored, const char* transform) {
  return relocalize(JSON::parse(stored).value(), parseTransform(transform), QUIET);
}

std::string placement(const std::string& fields) {
  return R"({"placements": [{"placement": {)" + fields + R"(}, "asset": {"id": "a"}}]})";
}

TEST(ParseTransform, ReadsNumbersLeniently) {
  EXPECT_THAT(parseTransform("1,,2,3,0.5"), ElementsAre(1, 2, 3, 0.5F));
  EXPECT_THAT(parseTransform(",,1,2,"), ElementsAre(1, 2));
  EXPECT_THAT(parseTransform(" 1e1x, abc,-.5 "), ElementsAre(10, 0, -0.5F));
  EXPECT_THAT(parseTransform(" "), ElementsAre(0));
  EXPECT_THAT(parseTransform(""), IsEmpty());
  EXPECT_THAT(parseTransform(",,,"), IsEmpty());
}

TEST(Relocalize, RotatesAboutTheVerticalThenTranslates) {
  const auto still = relocalized(placement(R"("x": 1, "y": 0, "z": 0, "ori": 0.3)").c_str(), "1,2,3,0,77");
  ASSERT_EQ(still.size(), 1U);
  EXPECT_EQ(still[0]->assetID, "a");
  EXPECT_EQ(still[0]->position, (platform::SCNVector3{2, 2, 3}));
  EXPECT_EQ(still[0]->orientation, 0.3F);
  EXPECT_EQ(still[0]->confidence, 0.5F);

  const auto quarter =
      relocalized(placement(R"("x": 1, "y": 5, "z": 0, "ori": 0)").c_str(), "0,0,0,1.5707964");
  ASSERT_EQ(quarter.size(), 1U);
  EXPECT_NEAR(quarter[0]->position.x, 0, 1e-6);
  EXPECT_EQ(quarter[0]->position.y, 5);
  EXPECT_EQ(quarter[0]->position.z, -1);
}

// In single precision: first the sum in brackets, from 0, then the translation.
TEST(Relocalize, KeepsTheOrderOfItsSums) {
  const float x = 0.1F;
  const float y = 1e8F;
  const float z = -7.3F;
  const float angle = 0.7F;
  const float s = std::sin(angle);
  const float c = std::cos(angle);
  const volatile float cx = c * x;
  const volatile float sz = s * z;
  const volatile float sx = -s * x;
  const volatile float cz = c * z;
  const volatile float bracketX = cx + sz;
  const volatile float bracketZ = sx + cz;

  const auto assets =
      relocalized(placement(R"("x": 0.1, "y": 1e8, "z": -7.3, "ori": 0)").c_str(), "1e3,3.5,-1e4,0.7");
  ASSERT_EQ(assets.size(), 1U);
  EXPECT_EQ(assets[0]->position.x, 1e3F + bracketX);
  EXPECT_EQ(assets[0]->position.y, 3.5F + y);
  EXPECT_EQ(assets[0]->position.z, -1e4F + bracketZ);
}

// WrongTypesOfPlacements covers values of other types.
TEST(Relocalize, LeavesOutIncompletePlacementsAndKeepsTheOrder) {
  const auto assets = relocalized(R"({"placements": {
      "second": {"placement": {"x": 1, "y": 0, "z": 0, "ori": 0}, "asset": {"id": "b"}},
      "broken": {"placement": {"x": 1, "y": 0, "z": 0, "ori": 0}},
      "first": {"placement": {"x": 2, "y": 0, "z": 0, "ori": 0}, "asset": {"id": "a"}}}})",
                                  "0,0,0,0");
  ASSERT_EQ(assets.size(), 2U);
  EXPECT_EQ(assets[0]->assetID, "b");
  EXPECT_EQ(assets[1]->assetID, "a");
}

TEST(Relocalize, PrintsFourLinesPerPlacement) {
  std::vector<std::string> lines;
  const auto stored = JSON::parse(R"({"placements": [
      {"placement": {"x": 1, "y": 0, "z": 0, "ori": 0.3}, "asset": {"id": "a"}},
      {"placement": {"x": 1}, "asset": {"id": "skipped"}},
      {"placement": {"x": 2, "y": -2, "z": -2.5, "ori": 0}, "asset": {"id": "b"}}]})");
  (void)relocalize(stored.value(), parseTransform("1,2,2.5,0,9"),
                   [&](std::string_view line) { lines.emplace_back(line); });
  EXPECT_THAT(
      lines,
      ElementsAre("matrix: [1.0, 2.0, 2.5, 0.0, 9.0]", "Relocalized asset orig position (1.0, 0.0, 0.0)",
                  "Relocalized asset new position (2.0, 2.0, 2.5)", "dist: 3.7749171",
                  "matrix: [1.0, 2.0, 2.5, 0.0, 9.0]", "Relocalized asset orig position (2.0, -2.0, -2.5)",
                  "Relocalized asset new position (3.0, 0.0, 0.0)", "dist: 3.0"));
}

TEST(Resolved, MovesAssetsIntoTheMap) {
  const auto asset = std::make_shared<MapAsset>("a", platform::SCNVector3{1, 2, 3}, 0.5F);
  const auto assets = resolved({asset}, {0.5F, -1, 2}, 0.25F);
  ASSERT_EQ(assets.size(), 1U);
  EXPECT_NE(assets[0], asset);
  EXPECT_EQ(assets[0]->assetID, "a");
  EXPECT_EQ(assets[0]->position, (platform::SCNVector3{1.5F, 1, 5}));
  EXPECT_EQ(assets[0]->orientation, 0.5F);
  EXPECT_EQ(assets[0]->confidence, 0.25F);
  EXPECT_EQ(asset->position, (platform::SCNVector3{1, 2, 3}));
}

}  // namespace
}  // namespace geoloom
