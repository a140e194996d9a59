#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Lines = std::vector<std::string>;
using platform::SCNVector3;

const char STORED[] = R"({"placements": [
    {"placement": {"x": 1, "y": 0, "z": 0, "ori": 0.3}, "asset": {"id": "lamp"}},
    {"placement": {"x": 2, "y": 0, "z": 0, "ori": 0.5}},
    {"placement": {"x": 0, "y": 1, "z": 0, "ori": -1}, "asset": {"id": "vase"}}]})";

const char REFUSAL[] =
    "MapSession has not yet been fully initialized. Wait for statusCallback with .initialized before storing "
    "any assets. (mode - ";

class MapSessionAssets : public SessionTest {
 protected:
  long count(const std::string& line) {
    const auto lines = journal.entries();
    return std::count(lines.begin(), lines.end(), line);
  }
  [[nodiscard]] std::vector<std::string> metricNames() const {
    std::vector<std::string> names;
    for (const auto& request : requests("PutMetricData"))
      names.push_back(request.json()["MetricData"][0]["MetricName"]);
    return names;
  }
  static std::vector<std::shared_ptr<MapAsset>> lamp() {
    return {std::make_shared<MapAsset>("lamp", SCNVector3{1, 2, -3}, 0.5F)};
  }
};

TEST_F(MapSessionAssets, ReportsIfTheServiceStoredAPlacement) {
  const auto session = openInitialized(MapMode::mapping);
  Recorder<bool> taken;
  const auto store = [&] {
    return session->storePlacement(lamp(), [&](bool success) {
      EXPECT_TRUE(platform::DispatchQueue::main()->isCurrent());
      taken.add(success);
    });
  };
  const std::string path = "/prod/maps/place_asset_on_map";
  std::size_t count = 0;
  for (const char* const said : {R"({"placement_id": null})", R"({"errorMessage": "no"})", "[]"}) {
    answer(path, said);
    EXPECT_TRUE(store());
    ASSERT_TRUE(taken.waitForCount(++count)) << said;
  }
  // Last, so that no other answer can be taken for it.
  answer(path, FakeAnswer::json("no JSON"));
  EXPECT_TRUE(store());
  ASSERT_TRUE(waitForRequests(path, 4));
  EXPECT_THAT(taken.entries(), ElementsAre(true, false, false));
  EXPECT_EQ(requests(path).front().json(), nlohmann::json::parse(R"({"map_uuid": "M1", "placements": [
      {"asset_id": "lamp", "x": 1, "y": 2, "z": -3, "orientation": 0.5}]})"));

  ASSERT_TRUE(waitForRequests("PutMetricData", 5));
  EXPECT_EQ(std::ranges::count(metricNames(), "YeltMaps.AssetSaved"), 4);
}

TEST_F(MapSessionAssets, RefusesPlacementsUntilTheMapIsKnown) {
  answer("/prod/maps/create_map", R"({"errorMessage": "no"})");
  const auto session = open(MapMode::mapping);
  ASSERT_TRUE(statuses.waitForCount(1));
  EXPECT_FALSE(session->storePlacement(lamp(), [](bool) { ADD_FAILURE(); }));
  EXPECT_EQ(count(std::string("! ") + REFUSAL + "0)"), 1);
  ASSERT_TRUE(waitForRequests("PutMetricData", 2));
  EXPECT_EQ(std::ranges::count(metricNames(), "YeltMaps.AssetSaved"), 1);
  EXPECT_THAT(requests("/prod/maps/place_asset_on_map"), IsEmpty());
}

TEST_F(MapSessionAssets, RefusesPlacementsInLocalizationMode) {
  const auto session = openInitialized(MapMode::localization);
  EXPECT_FALSE(session->storePlacement(lamp(), [](bool) { ADD_FAILURE(); }));
  EXPECT_EQ(count("! Cannot store new assets in localization mode until previous assets have been localized"),
            1);
  ASSERT_TRUE(waitForRequests("PutMetricData", 2));
  EXPECT_THAT(requests("/prod/maps/place_asset_on_map"), IsEmpty());
}

TEST_F(MapSessionAssets, ListsNearbyMapsAfterAFailedOpening) {
  answer("/prod/maps/create_map", R"({"errorMessage": "no"})");
  answer("/prod/maps/list_nearby_maps", R"([{"user_id": "u1", "map_id": "m1", "latitude": 1, "longitude": 2,
      "altitude": 3, "vertical_accuracy": 4, "horizontal_accuracy": 5}])");
  const auto session = open(MapMode::mapping);
  ASSERT_TRUE(statuses.waitForCount(1));
  Recorder<std::vector<std::shared_ptr<Map>>> maps;
  const auto list = [&](const std::optional<std::string>& user) {
    return session->listNearbyMaps(user, 11, 48, 0.5, 0.25, [&](const auto& found) {
      EXPECT_TRUE(platform::DispatchQueue::main()->isCurrent());
      maps.add(found);
    });
  };
  EXPECT_TRUE(list(std::nullopt));
  ASSERT_TRUE(maps.waitForCount(1));
  ASSERT_EQ(maps.entries().front().size(), 1U);
  EXPECT_EQ(maps.entries().front().front()->horizontalAccuracy, 5);
  EXPECT_TRUE(list("u9"));
  ASSERT_TRUE(maps.waitForCount(2));
  const auto sent = requests("/prod/maps/list_nearby_maps");
  EXPECT_FALSE(sent[0].json().contains("user_id"));
  EXPECT_EQ(sent[1].json()["user_id"], "u9");
  const auto expected = nlohmann::json::parse(R"({"app_id": "demo", "longitude": 11, "latitude": 48,
      "longitude_delta": 0.5, "latitude_delta": 0.25, "developer_key": "900150983cd24fb0d6963f7d28e17f72"})");
  for (const auto& [key, value] : expected.items()) EXPECT_EQ(sent[0].json()[key], value) << key;
}

TEST_F(MapSessionAssets, DeliversAssetsOncePerNewTransform) {
  answer("/prod/maps/find_assets_on_the_map", STORED);
  answer("Scan", page({{"12", "0.4", "9,9,9,9"}, {"15", "0.3", "1,2,3,0"}}));
  const auto session = openInitialized(MapMode::localization);
  tick(*session, 2);
  ASSERT_EQ(assets.entries().size(), 1U);
  const auto first = assets.entries().front();
  ASSERT_EQ(first.size(), 2U);
  EXPECT_EQ(first[0]->assetID, "lamp");
  EXPECT_EQ(first[0]->position, (SCNVector3{2, 2, 3}));
  EXPECT_EQ(first[0]->orientation, 0.3F);
  EXPECT_EQ(first[0]->confidence, 0.5F);
  EXPECT_EQ(first[1]->assetID, "vase");
  EXPECT_EQ(first[1]->position, (SCNVector3{1, 3, 3}));

  // Another row with the same transform changes nothing.
  answer("Scan", page({{"20", "1", "1,2,3,0"}}));
  tick(*session);
  EXPECT_EQ(assets.entries().size(), 1U);

  answer("Scan", page({{"20", "1", "1,2,3,0"}, {"20", "1.5", "0,0,0,0"}}));
  tick(*session);
  ASSERT_EQ(assets.entries().size(), 2U);
  EXPECT_EQ(assets.entries()[1][0]->position, (SCNVector3{1, 0, 0}));
  EXPECT_GE(count("> Transform DB scan result 2"), 3);
}

TEST_F(MapSessionAssets, DeliversAnEmptyListWithoutStoredAssets) {
  answer("Scan", page({{"1", "1", "1,2,3,0"}}));
  const auto session = openInitialized(MapMode::mapping);
  tick(*session, 2);
  ASSERT_EQ(assets.entries().size(), 1U);
  EXPECT_THAT(assets.entries().front(), IsEmpty());
  EXPECT_THAT(requests("/prod/maps/find_assets_on_the_map"), IsEmpty());
  EXPECT_EQ(watch(*session).count("localization asked"), 0U);
}

TEST_F(MapSessionAssets, KeepsATransformForALaterCallback) {
  answer("/prod/maps/find_assets_on_the_map", STORED);
  answer("Scan", page({{"1", "1", "1,2,3,0"}}));
  const auto session = openInitialized(MapMode::localization);
  session->registerCallbacks({}, {}, {});
  tick(*session, 2);
  answer("Scan", page({{"2", "1", "too,few"}}));
  tick(*session, 2);
  EXPECT_EQ(count("! dropped a transform with fewer than four numbers: too,few"), 1);
  registerCallbacks(*session);
  tick(*session, 2);
  ASSERT_EQ(assets.entries().size(), 1U);
  EXPECT_EQ(assets.entries().front().size(), 2U);
}

TEST_F(MapSessionAssets, DiscardsAWaitingTransformAtAReset) {
  answer("Scan", page({{"1", "1", "1,2,3,0"}}));
  const auto session = openInitialized(MapMode::localization);
  session->registerCallbacks({}, {}, {});
  tick(*session);
  session->reset(std::make_shared<platform::ARSession>());
  registerCallbacks(*session);
  tick(*session);
  EXPECT_THAT(assets.entries(), IsEmpty());
}

TEST_F(MapSessionAssets, DiscardsTheTransformOfAScanBeforeAReset) {
  Gate scanning;
  Gate resetDone;
  answer("Scan", FakeAnswer::json(page({{"1", "1", "1,2,3,0"}})).after([&] {
    scanning.open();
    EXPECT_TRUE(resetDone.wait());
  }));
  const auto session = openInitialized(MapMode::localization);
  clock->advance(std::chrono::seconds(1));
  ASSERT_TRUE(scanning.wait());
  session->reset(std::make_shared<platform::ARSession>());
  resetDone.open();
  ASSERT_TRUE(watch(*session).waitFor("tick"));
  EXPECT_EQ(count("> Transform DB scan result 1"), 1);
  EXPECT_THAT(assets.entries(), IsEmpty());
  EXPECT_EQ(std::ranges::count_if(
                journal.entries(),
                [](const std::string& line) { return line.starts_with("> asking for new transform"); }),
            0);
}

TEST_F(MapSessionAssets, RequestsALocalizationEveryEighthTick) {
  const std::string path = "/dev/scene-understanding/localize";
  const auto session = openInitialized(MapMode::localization);
  const std::string line =
      R"(> asking for new transform. Assets saved: 0. Mapping session id: Optional("M1"), localitzation session id: L1)";
  const std::string waits =
      "> localization has been waiting 5 s for a transform: the service does not recognise the place yet (it "
      "is asked "
      "every 8 s)";
  EXPECT_EQ(count(line), 0);
  for (int number = 0; number < 18; ++number) {
    tick(*session);
    EXPECT_EQ(count(line), number / 8 + 1) << "tick " << number;
    EXPECT_EQ(count(waits), number < 5 ? 0 : 1) << "tick " << number;
  }
  ASSERT_TRUE(waitForRequests(path, 3));
  EXPECT_EQ(requests(path).front().json(), nlohmann::json::parse(R"({"mapping_session_id": "M1",
      "localization_session_id": "L1", "feature_match_distance_meters": 0.5})"));
}

TEST_F(MapSessionAssets, RequestsNoLocalizationBeforeTheSessionIsKnown) {
  const std::string path = "/dev/scene-understanding/localize";
  Gate answered;
  answer("/prod/maps/create_localization_session",
         FakeAnswer::json(R"({"session_uuid": "L1", "map_uuid": "M1"})").after([&] {
           EXPECT_TRUE(answered.wait());
         }));
  const auto session = open(MapMode::localization);
  tick(*session);
  answered.open();
  ASSERT_TRUE(statuses.waitForCount(1));
  configuration->featureMatchDistanceMeters = 0.25F;
  tick(*session, 7);
  EXPECT_THAT(requests(path), IsEmpty());
  tick(*session);
  ASSERT_TRUE(waitForRequests(path, 1));
  EXPECT_EQ(requests(path).front().json()["feature_match_distance_meters"], 0.25);
}

}  // namespace
}  // namespace geoloom::test
