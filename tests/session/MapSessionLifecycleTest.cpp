#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/location/CLLocationManager.h"
#include "geoloom/session/types/DetectedObjectFactory.h"

#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using Lines = std::vector<std::string>;

using MapSessionLifecycle = SessionTest;

Lines only(const Lines& journal, const Lines& wanted) {
  Lines found;
  std::copy_if(journal.begin(), journal.end(), std::back_inserter(found), [&](const std::string& line) {
    return std::find(wanted.begin(), wanted.end(), line) != wanted.end();
  });
  return found;
}

TEST_F(MapSessionLifecycle, ConstructsInOrder) {
  const auto session = create(MapMode::localization);
  EXPECT_EQ(session->mapSessionMode(), MapMode::localization);
  EXPECT_TRUE(session->isLocalizationMode());
  EXPECT_EQ(session->userID(), "u7");
  EXPECT_EQ(session->mapID(), "m3");
  ASSERT_TRUE(waitForRequests("PutMetricData", 1));
  const Lines inOrder{"> initializing MapSession", "! MapSession created for demo u7 m3 - mode: 1",
                      "PutMetricData"};
  EXPECT_EQ(only(journal.entries(), inOrder), inOrder);

  const auto metric = requests("PutMetricData").front().json();
  EXPECT_EQ(metric["Namespace"], "YeltMaps");
  EXPECT_EQ(metric["MetricData"][0]["MetricName"], "YeltMaps.RegisterObjectDetectionCallback");
  EXPECT_EQ(metric["MetricData"][0]["Dimensions"][0]["Value"], "900150983cd24fb0d6963f7d28e17f72");
}

TEST_F(MapSessionLifecycle, PreparesTheOpeningDuringConstructionAndSendsItAfterwards) {
  Gate prepared;
  platform::SystemLog::setSink([&](std::string_view line) {
    if (line.starts_with("created directory yelt/")) prepared.open();
    if (!line.starts_with("MapSession created for")) return;
    EXPECT_TRUE(prepared.wait()) << "the start-up task has not begun";
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(requests("/prod/maps/create_map").empty());
  });
  const auto session = create(MapMode::mapping);
  ASSERT_TRUE(waitForRequests("/prod/maps/create_map", 1));
  platform::SystemLog::setSink({});
}

TEST_F(MapSessionLifecycle, OpensInOrder) {
  answer("/prod/maps/find_assets_on_the_map", R"({"placements": [1]})");
  const auto session = openInitialized(MapMode::localization);
  const Lines inOrder{"! failed to remove directory yelt",
                      "! created directory yelt/" + today(),
                      "/prod/maps/create_localization_session",
                      R"(> {"session_uuid":"L1","map_uuid":"M1"})",
                      "> retrieve assets",
                      "/prod/maps/find_assets_on_the_map"};
  EXPECT_EQ(only(journal.entries(), inOrder), inOrder);
  EXPECT_EQ(requests("/prod/maps/find_assets_on_the_map").front().json(),
            nlohmann::json({{"map_uuid", "M1"}}));
}

TEST_F(MapSessionLifecycle, SendsItsIdentityAndItsLocationIfKnown) {
  const auto place = std::make_shared<platform::CLLocation>(platform::CLLocationCoordinate2D{48.5, 11.25},
                                                            520, 4, 6, platform::Date{});
  openInitialized(MapMode::mapping);
  platform::CLLocationManager::setProvider(platform::CLLocationProvider::fixed(place));
  openInitialized(MapMode::mapping);
  const auto without = requests("/prod/maps/create_map").front().json();
  const auto body = requests("/prod/maps/create_map").back().json();
  const auto expected = nlohmann::json::parse(R"({"app_id": "demo", "user_id": "u7", "map_id": "m3",
      "developer_key": "900150983cd24fb0d6963f7d28e17f72", "long": 11.25, "lat": 48.5, "alt": 520,
      "horAccuracy": 4, "verAccuracy": 6})");
  for (const auto& [key, value] : expected.items()) {
    EXPECT_EQ(body[key], value) << key;
    EXPECT_EQ(without.contains(key), value.is_string()) << key;
  }
}

TEST_F(MapSessionLifecycle, UsesTheBeta) {
  MapSession::USE_BETA_ALGO = true;
  answer("/beta/maps/create_localization_session", R"({"session_uuid": "L1", "map_uuid": "M1"})");
  const auto session = open(MapMode::localization);
  ASSERT_TRUE(statuses.waitForCount(1));
  EXPECT_EQ(requests("/beta/maps/create_localization_session").front().json()["use_beta"], true);
}

TEST_F(MapSessionLifecycle, ForgetsTheIdentifiersAtAReset) {
  const auto session = openInitialized(MapMode::mapping);
  clock->advance(std::chrono::seconds(5));
  const auto before = journal.entries().size();
  session->reset(std::make_shared<platform::ARSession>());
  EXPECT_EQ(session->mappingUUID(), std::nullopt);
  EXPECT_EQ(session->mapSessionUUID(), std::nullopt);
  EXPECT_FALSE(session->storePlacement({}, {}));
  platform::DispatchQueue::main()->sync([] {});
  EXPECT_EQ(statuses.entries().size(), 1U);
  EXPECT_EQ(requests("/prod/maps/create_map").size(), 1U);
  const auto lines = journal.entries();
  EXPECT_THAT(Lines(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()),
              IsSupersetOf(Lines{"! remove directory yelt", "! created directory yelt/" + today()}));
}

TEST_F(MapSessionLifecycle, KeepsAResetThatComesBeforeTheOpening) {
  Gate opening;
  Gate resetDone;
  std::atomic<int> removals = 0;
  platform::SystemLog::setSink([&](std::string_view line) {
    if (line != "failed to remove directory yelt" || removals++ > 0) return;
    opening.open();
    EXPECT_TRUE(resetDone.wait());
  });
  const auto session = open(MapMode::mapping);
  ASSERT_TRUE(opening.wait());
  EXPECT_EQ(session->mapSessionUUID(), std::nullopt);
  EXPECT_FALSE(session->listNearbyMaps({}, 1, 2, 3, 4, [](const auto&) { ADD_FAILURE(); }))
      << "there is no manager yet";
  session->reset(std::make_shared<platform::ARSession>());
  resetDone.open();
  ASSERT_TRUE(statuses.waitForCount(1));
  EXPECT_THAT(statuses.entries(), ElementsAre(MapStatus::initialized));
  EXPECT_EQ(session->mappingUUID(), std::nullopt);
  platform::SystemLog::setSink({});
}

TEST_F(MapSessionLifecycle, ReportsAnAnswerAfterAResetWithoutKeepingIt) {
  Gate asked;
  Gate resetDone;
  answer("/prod/maps/create_map", FakeAnswer::json(R"({"uuid": "M1"})").after([&] {
    asked.open();
    EXPECT_TRUE(resetDone.wait());
  }));
  const auto session = open(MapMode::mapping);
  ASSERT_TRUE(asked.wait());
  session->reset(std::make_shared<platform::ARSession>());
  resetDone.open();
  ASSERT_TRUE(statuses.waitForCount(1));
  EXPECT_THAT(statuses.entries(), ElementsAre(MapStatus::initialized));
  EXPECT_EQ(session->mappingUUID(), std::nullopt);
}

TEST_F(MapSessionLifecycle, KeepsOneDataDirectory) {
  openInitialized(MapMode::mapping);
  clock->advance(std::chrono::seconds(61));
  openInitialized(MapMode::mapping);
  const auto root = directory.path() / "documents" / "yelt";
  ASSERT_EQ(std::distance(std::filesystem::directory_iterator(root), {}), 1);
  EXPECT_TRUE(std::filesystem::is_directory(directory.path() / "documents" / ("yelt/" + today())));
}

TEST_F(MapSessionLifecycle, ReportsWhyTheModelCannotBeLoaded) {
  EXPECT_EQ(MapSession::detectionModelFault(), std::nullopt);
  platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc",
                                              "/nonexistent/feature_model.mlmodelc");
  EXPECT_THAT(MapSession::detectionModelFault().value_or(""), ::testing::HasSubstr("/nonexistent"));
}

// Callbacks may call any operation of their session.
TEST_F(MapSessionLifecycle, CanBeUsedFromItsCallbacks) {
  answer("Scan", page({{"1", "1", "1,2,3,0.5"}}));
  answer("/prod/maps/place_asset_on_map", R"({"placement_id": 1})");
  Recorder<std::string> called;
  std::shared_ptr<MapSession> session;
  const auto onAssets = [&](const auto&) {
    called.add("assets");
    EXPECT_EQ(session->lastTransform()->translation, (platform::SCNVector3{1, 2, 3}));
    EXPECT_EQ(session->lastTransform()->rotation, 0.5F);
    session->reset(std::make_shared<platform::ARSession>());
    EXPECT_FALSE(session->lastTransform());
  };
  const auto onObjects = [&](const auto&) {
    called.add("objects");
    session->registerCallbacks(onAssets, {}, {});
  };
  const auto onPlaced = [&](bool) {
    called.add("placed");
    session->registerCallbacks(onAssets, {}, onObjects);
    session->listNearbyMaps({}, 1, 2, 3, 4, [&](const auto&) { called.add("maps"); });
  };
  platform::DispatchQueue::main()->sync([&] {
    session = create(MapMode::mapping);
    session->registerCallbacks({}, [&](MapStatus) { EXPECT_TRUE(session->storePlacement({}, onPlaced)); },
                               {});
  });
  ASSERT_TRUE(called.waitForCount(2));
  const auto& detector = watch(*session).detector;
  for (int i = 0; i < 2; ++i)
    detector->updateQueue->sync([&] { detector->callback({DetectedObjectFactory::make("cup", 0, {}, 1)}); });
  tick(*session, 2);
  EXPECT_THAT(called.entries(), ElementsAre("placed", "maps", "objects", "assets"));
}

TEST_F(MapSessionLifecycle, RefusesMissingArguments) {
  const auto arSession = std::make_shared<platform::ARSession>();
  EXPECT_EQ(MapSession::create(nullptr, MapMode::mapping, "u", "m", "k", 1, 1,
                               std::make_shared<MapSessionConfiguration>(0.5F, 0.5F)),
            nullptr);
  EXPECT_EQ(MapSession::create(arSession, MapMode::mapping, "u", "m", "k", 1, 1, nullptr), nullptr);
  EXPECT_EQ(MapSession::create(arSession, MapMode::mapping, "u", "m", "k", 1, 2, nullptr), nullptr);
  const Lines noConfiguration{"! MapSession not created: no configuration was given"};
  EXPECT_THAT(
      journal.entries(),
      ElementsAre("! MapSession not created: no AR session was given", noConfiguration[0], noConfiguration[0],
                  "! MapSession: the view is wider than high; give the size of the upright view"));

  const auto session = openInitialized(MapMode::mapping);
  session->reset(nullptr);
  EXPECT_EQ(session->mappingUUID(), "M1");
  EXPECT_EQ(std::ranges::count(journal.entries(), "! reset: an AR session is needed"), 1);
}

TEST_F(MapSessionLifecycle, DoesNotMixTwoSessions) {
  const auto first = openInitialized(MapMode::mapping);
  answer("/prod/maps/create_map", R"({"uuid": "M2"})");
  const auto second =
      MapSession::create(std::make_shared<platform::ARSession>(), MapMode::mapping, "u8", "m4", "other", 812,
                         375, std::make_shared<MapSessionConfiguration>(0.5F, 0.5F));
  while (!second->mappingUUID()) std::this_thread::yield();
  EXPECT_EQ(first->mappingUUID(), "M1");
  EXPECT_EQ(second->mappingUUID(), "M2");
  ASSERT_TRUE(waitForRequests("PutMetricData", 2));
  const auto metrics = requests("PutMetricData");
  const auto key = [](const RecordedRequest& request) {
    return request.json()["MetricData"][0]["Dimensions"][0]["Value"].get<std::string>();
  };
  EXPECT_NE(key(metrics[0]), key(metrics[1]));
}

}  // namespace
}  // namespace geoloom::test
