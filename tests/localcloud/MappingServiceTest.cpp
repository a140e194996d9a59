#include <cmath>
#include <cstdlib>
#include <thread>

#include <gmock/gmock.h>

#include "localcloud/MappingService.h"
#include "localcloud/Maps.h"
#include "localcloud/Sightings.h"
#include "localcloud/Tables.h"
#include "localcloud/matching/RigidTransform.h"
#include "tests/localcloud/ServiceFixture.h"

namespace geoloom::localcloud {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class MappingServiceTest : public ServiceFixture {
 protected:
  std::vector<std::string> near(double latitude, double longitude, double latitudeDelta,
                                double longitudeDelta, const JSON& more = JSON::object()) {
    JSON body = common();
    body.update({{"latitude", latitude},
                 {"longitude", longitude},
                 {"latitude_delta", latitudeDelta},
                 {"longitude_delta", longitudeDelta}});
    body.update(more);
    std::vector<std::string> ids;
    for (const JSON& element : map("list_nearby_maps", body)) ids.push_back(element.at("map_id"));
    return ids;
  }

  /// A localization session and the handle of its map.
  struct Opened {
    std::string uuid;
    std::string handle;
  };
  Opened open(const std::string& mapID) {
    const JSON answer = map("create_localization_session", create(mapID));
    return {answer.at("session_uuid"), answer.at("map_uuid")};
  }

  JSON assetsOf(const std::string& mapUUID) {
    return map("find_assets_on_the_map", {{"map_uuid", mapUUID}}).at("placements");
  }
  void place(const std::string& mapUUID, const std::string& asset, double x, double z) {
    const JSON placement = {{"asset_id", asset}, {"x", x}, {"y", 0.5}, {"z", z}, {"orientation", 0}};
    map("place_asset_on_map", {{"map_uuid", mapUUID}, {"placements", {placement}}});
  }

  void see(const std::string& session, int frame, const std::string& name, double x, double z) {
    const auto number = [](double value) { return JSON{{"N", std::to_string(value)}}; };
    const JSON item = {{"SessionId", {{"S", session}}}, {"FrameId", {{"N", std::to_string(frame)}}},
                       {"ObjectName", {{"S", name}}},   {"PositionX", number(x)},
                       {"PositionY", number(0.5)},      {"PositionZ", number(z)}};
    const JSON body = {{"TableName", "SceneUnderstanding"}, {"Item", item}};
    ASSERT_EQ(post("/", body.dump(), "DynamoDB_20120810.PutItem").status, 200);
  }

  /// Three objects, each in a frame of its own. A turned session began somewhere else with another heading.
  void walk(const std::string& session, bool turned) {
    int frame = 0;
    for (const auto& [name, x, z] : {std::tuple("chair", 0.0, 0.0), {"cup", 2.0, 0.0}, {"book", 0.0, 3.0}})
      see(session, ++frame, name, turned ? z + 1 : x, turned ? -x : z);
  }

  JSON localize(const std::string& mapUUID, const std::string& session) {
    return at("/dev/scene-understanding/localize", {{"mapping_session_id", mapUUID},
                                                    {"localization_session_id", session},
                                                    {"feature_match_distance_meters", 0.3}});
  }

  std::vector<JSON> transforms() { return itemsOf("Transformations"); }
  std::vector<JSON> itemsOf(const std::string& name, const std::string& sessionID = {}) {
    JSON body = {{"TableName", name}};
    if (!sessionID.empty()) {
      body.update({{"FilterExpression", "#sessionId = :sessionId"},
                   {"ExpressionAttributeNames", {{"#sessionId", "SessionId"}}},
                   {"ExpressionAttributeValues", {{":sessionId", {{"S", sessionID}}}}}});
    }
    const JSON page = JSON::parse(post("/", body.dump(), "DynamoDB_20120810.Scan").body);
    return page.at("Items").get<std::vector<JSON>>();
  }
};

TEST_F(MappingServiceTest, OpensSessionsAgainstTheNewestMap) {
  map("create_map", create("m"));
  const JSON newest = map("create_map", create("m", "another user"));
  map("create_map", create("m", "user", "other app"));
  JSON body = create("m");
  body["use_beta"] = true;
  const JSON session = at("/beta/maps/create_localization_session", body);
  EXPECT_EQ(session.size(), 2U);
  EXPECT_TRUE(session.at("session_uuid").is_string());

  const std::string handle = session.at("map_uuid");
  EXPECT_NE(handle, newest.at("uuid"));
  EXPECT_NE(handle, open("m").handle) << "each session has a handle of its own";
  place(newest.at("uuid"), "placed under the UUID", 1, 2);
  place(handle, "placed under the handle", 3, 4);
  EXPECT_EQ(assetsOf(handle), assetsOf(newest.at("uuid")));
  EXPECT_EQ(assetsOf(handle).size(), 2U);
}

TEST_F(MappingServiceTest, NamesUnknownMaps) {
  map("create_map", create("m", "user", "other app"));
  EXPECT_EQ(map("create_localization_session", create("m")),
            (JSON{{"errorMessage", "Cannot find the map m"}}));
  EXPECT_EQ(map("find_assets_on_the_map", {{"map_uuid", "X"}}),
            (JSON{{"errorMessage", "Cannot find the map X"}}));
  EXPECT_EQ(map("place_asset_on_map", {{"map_uuid", "X"}, {"placements", JSON::array()}}),
            (JSON{{"errorMessage", "Cannot find the map X"}}));
  EXPECT_EQ(localize("X", "Y"), (JSON{{"errorMessage", "Cannot find the map X"}}));
}

TEST_F(MappingServiceTest, StoresAndReplacesPlacements) {
  const std::string uuid = map("create_map", create("m")).at("uuid");
  const auto place = [&](const JSON& placements) {
    return map("place_asset_on_map", {{"map_uuid", uuid}, {"placements", placements}});
  };
  const auto asset = [](const char* id, double x) {
    return JSON{{"asset_id", id}, {"x", x}, {"y", -2.25}, {"z", 0.1}, {"orientation", 1.5}};
  };
  const auto found = [](const char* id, double x) {
    return JSON{{"placement", {{"x", x}, {"y", -2.25}, {"z", 0.1}, {"ori", 1.5}}}, {"asset", {{"id", id}}}};
  };
  EXPECT_TRUE(place(JSON::array()).contains("placement_id"));
  EXPECT_EQ(map("find_assets_on_the_map", {{"map_uuid", uuid}}), (JSON{{"placements", JSON::array()}}));
  EXPECT_TRUE(place({asset("b", 1), asset("a", 2)}).contains("placement_id"));
  EXPECT_TRUE(place(JSON::array({asset("b", 3)})).contains("placement_id"));
  EXPECT_EQ(map("find_assets_on_the_map", {{"map_uuid", uuid}}),
            (JSON{{"placements", {found("b", 3), found("a", 2)}}}))
      << "the latest placement of an asset, in the place of its first";
}

TEST_F(MappingServiceTest, StoresNothingOfARequestWithAnInvalidPlacement) {
  const std::string uuid = map("create_map", create("m")).at("uuid");
  const JSON good = {{"asset_id", "a"}, {"x", 1}, {"y", 2}, {"z", 3}, {"orientation", 0}};
  JSON bad = good;
  bad["z"] = nullptr;
  EXPECT_EQ(map("place_asset_on_map", {{"map_uuid", uuid}, {"placements", {good, bad}}}),
            (JSON{{"errorMessage", "placements[1].z must be a number"}}));
  EXPECT_EQ(map("find_assets_on_the_map", {{"map_uuid", uuid}}).at("placements"), JSON::array());
}

TEST_F(MappingServiceTest, ListsMapsWithTheirLocations) {
  map("create_map", createAt("m", 48.1, 11.5));
  JSON body = common();
  body.update({{"latitude", 48}, {"longitude", 11}, {"latitude_delta", 1}, {"longitude_delta", 2}});
  EXPECT_EQ(map("list_nearby_maps", body), (JSON{{{"user_id", "user"},
                                                  {"map_id", "m"},
                                                  {"latitude", 48.1},
                                                  {"longitude", 11.5},
                                                  {"altitude", 7.5},
                                                  {"vertical_accuracy", 4.0},
                                                  {"horizontal_accuracy", 3.0}}}));
}

TEST_F(MappingServiceTest, TakesDeltasAsFullSpansAcrossTheDateLine) {
  map("create_map", createAt("east", 0, 179.9));
  map("create_map", createAt("west", 0.5, -179.9));
  map("create_map", create("nowhere"));
  EXPECT_THAT(near(0, 180, 1, 0.3), ElementsAre("east", "west"));
  EXPECT_THAT(near(0, -180, 1, 0.3), ElementsAre("east", "west"));
  EXPECT_THAT(near(0, -180, 1, 0.19), IsEmpty());
  EXPECT_THAT(near(0, 179.9, 0.9, 0), ElementsAre("east"));
  EXPECT_THAT(near(0, 539.9, 0.9, 1), ElementsAre("east")) << "longitudes are angles";
  EXPECT_THAT(near(0, 0, 180, 360), ElementsAre("west", "east")) << "the whole world, the nearest first";
  EXPECT_THAT(near(0.5, -179.9, 1, 1), ElementsAre("west", "east"));
}

TEST_F(MappingServiceTest, ListsTheNewestLocatedMapOfAnIdentifier) {
  map("create_map", createAt("a", 10, 10, "anna"));
  map("create_map", createAt("b", 10, 10, "ben"));
  map("create_map", createAt("moved", 10, 10));
  map("create_map", createAt("moved", 50, 50));
  map("create_map", create("b"));  // without a location: hides nothing
  EXPECT_THAT(near(10, 10, 1, 1), ElementsAre("a", "b"));
  EXPECT_THAT(near(10, 10, 1, 1, {{"user_id", "ben"}}), ElementsAre("b"));
  EXPECT_THAT(near(10, 10, 1, 1, {{"app_id", "other"}}), IsEmpty());
}

TEST_F(MappingServiceTest, RefusalsNameTheKey) {
  // null removes the key
  const std::tuple<const char*, JSON, const char*> cases[] = {
      {"create_map", {{"map_id", nullptr}}, "map_id is missing"},
      {"create_map", {{"user_id", 7}}, "user_id must be text"},
      {"create_map", {{"lat", 1.0}}, "long is missing"},
      {"create_map",
       {{"lat", 91}, {"long", 0}, {"alt", 0}, {"horAccuracy", 0}, {"verAccuracy", 0}},
       "lat must be between -90 and 90"},
      {"create_map", {{"device_uuid", 1}}, "device_uuid must be text"},
      {"create_localization_session", {{"use_beta", "yes"}}, "use_beta must be true or false"},
      {"create_localization_session", {{"app_id", nullptr}}, "app_id is missing"},
      {"list_nearby_maps", {}, "latitude is missing"},
      {"list_nearby_maps",
       {{"latitude", 0}, {"longitude", 0}, {"latitude_delta", -1}},
       "latitude_delta must be"},
      {"find_assets_on_the_map", {}, "map_uuid is missing"},
      {"place_asset_on_map",
       {{"map_uuid", "m"}, {"placements", {{{"x", 1}}}}},
       "placements[0].asset_id is missing"},
      {"place_asset_on_map", {{"map_uuid", "m"}, {"placements", {7}}}, "placements[0] must be an object"},
  };
  for (const auto& [operation, change, message] : cases) {
    JSON body = create("m");
    for (const auto& [key, value] : change.items())
      value.is_null() ? static_cast<void>(body.erase(key)) : static_cast<void>(body[key] = value);
    const Answer answer = post(std::string("/prod/maps/") + operation, body.dump());
    EXPECT_EQ(answer.status, 400) << message;
    EXPECT_THAT(JSON::parse(answer.body).at("errorMessage").get<std::string>(), HasSubstr(message));
  }
}

TEST_F(MappingServiceTest, RefusesMalformedBodiesAndUnknownPaths) {
  const std::pair<std::string, std::string> bodies[] = {
      {"", "The body is empty; it must be a JSON object"},
      {"{", "The body is not JSON: it ends too early"},
      {"{]", "The body is not JSON: unexpected byte 2"},
      {"{} {}", "The body is not JSON: unexpected byte 4"},
      {"\"\xff\"", "The body is not JSON: unexpected byte 2"},
      {"[]", "The body must be an object"},
      {"{\"map_id\":1e400}", "The body holds a number that is out of range"},
      {std::string(100'000, '['), "The body is nested more than 64 deep"},
  };
  for (const auto& [body, message] : bodies) {
    const Answer answer = post("/prod/maps/create_map", body);
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(JSON::parse(answer.body).at("errorMessage"), message);
  }
  EXPECT_EQ(post("/prod/maps/destroy_map", "{}").status, 404);
  EXPECT_EQ(post("/dev/maps/create_map", "{}").status, 404);
  Request request{.method = "GET", .target = "/prod/maps/create_map", .headers = {}, .body = {}};
  EXPECT_EQ(service_.answer(request).status, 405);
  request.target = "/";
  EXPECT_THAT(service_.answer(request).body, HasSubstr("geoloom replay"));
  request.method = "POST";
  request.bodyTooLarge = true;
  EXPECT_EQ(service_.answer(request).status, 413);
}

TEST_F(MappingServiceTest, WritesOneTransformRow) {
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  const auto [session, handle] = open("m");
  walk(mapUUID, false);
  place(mapUUID, "lamp", 1, 1);
  EXPECT_EQ(localize(handle, session), (JSON{{"match_count", 0},
                                             {"transform_written", false},
                                             {"reason", "too few objects"},
                                             {"predicted_error_meters", nullptr},
                                             {"objects", JSON::array()},
                                             {"moved", JSON::array()},
                                             {"missing", JSON::array()},
                                             {"runner_up", nullptr}}));
  walk(session, true);
  const JSON answer = localize(mapUUID, session);
  EXPECT_EQ(answer.at("match_count"), 3) << answer;
  EXPECT_EQ(answer.at("transform_written"), true) << answer;
  EXPECT_EQ(answer.at("reason"), "accepted");
  EXPECT_EQ(answer.at("objects").size(), 3U);

  const auto rows = transforms();
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].at("SessionId"), (JSON{{"S", handle}}));
  EXPECT_EQ(rows[0].at("Timestamp"), (JSON{{"N", "1700000000"}}));
  EXPECT_EQ(rows[0].at("MatchCount"), (JSON{{"N", "3"}}));
  EXPECT_NEAR(std::stod(rows[0].at("MatchValue").at("S").get<std::string>()),
              0.1 / (0.1 + answer.at("predicted_error_meters").get<double>()), 1e-9);
  float x = 0, y = 0, z = 0, angle = 0;
  const std::string text = rows[0].at("Transform").at("S");
  ASSERT_EQ(std::sscanf(text.c_str(), "%f,%f,%f,%f", &x, &y, &z, &angle), 4) << text;
  EXPECT_NEAR(x, 1, 1e-6);
  EXPECT_NEAR(y, 0, 1e-6);
  EXPECT_NEAR(z, 0, 1e-6);
  EXPECT_NEAR(angle, 1.5707964, 1e-6);

  now_ += std::chrono::seconds(8);
  EXPECT_EQ(localize(mapUUID, session).at("transform_written"), false) << "the row says the same already";
  EXPECT_EQ(transforms(), rows);

  see(mapUUID, 4, "vase", 2, 2);
  see(session, 4, "vase", 3, -2);
  EXPECT_EQ(localize(mapUUID, session).at("match_count"), 4) << "the map has grown";
}

TEST_F(MappingServiceTest, InspectsTheNewestMap) {
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  walk(mapUUID, false);
  place(mapUUID, "lamp", 1, 1);
  JSON body = create("m");
  body["feature_match_distance_meters"] = 0.3;
  const JSON answer = map("inspect_map", body);
  EXPECT_EQ(answer.at("objects").size(), 3U);
  EXPECT_EQ(answer.at("objects")[0].at("ambiguous"), false);
  EXPECT_EQ(answer.at("assets"), (JSON{{{"id", "lamp"}, {"x", 1.0}, {"y", 0.5}, {"z", 1.0}}}));
  EXPECT_EQ(answer.at("reason"), "accepted");
  EXPECT_EQ(answer.at("smallest_set").size(), 3U);
}

/// Seconds that each visitor walks; GEOLOOM_VISIT_SECONDS=600 is the long form (docs/matching.md).
int visitSeconds() {
  const char* const text =
      std::getenv("GEOLOOM_VISIT_SECONDS");  // NOLINT(concurrency-mt-unsafe): no thread yet
  return text == nullptr ? 3 : std::atoi(text);
}

TEST_F(MappingServiceTest, LocalizesFiftyVisitorsOfOneMapAtOnce) {
  const std::vector<std::tuple<const char*, double, double>> room = {
      {"chair", 0, 0}, {"cup", 2, 0.5}, {"book", 0.5, 3}, {"vase", 3, 2.5}};
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  for (const auto& [name, x, z] : room) see(mapUUID, 1, name, x, z);
  place(mapUUID, "lamp", 1.5, 2);

  struct Visitor {
    Opened opened;
    RigidTransform start;
  };
  std::vector<Visitor> visitors;
  for (int i = 0; i < 50; ++i)
    visitors.push_back({open("m"), {.translation = {0.7 * i, 0, 20 - 1.3 * i}, .angle = i * 0.12 - 3}});
  const auto visit = [&](const Visitor& visitor, int second) {
    const double error = 0.005 * std::sin(second + visitor.start.angle * 9);
    for (std::size_t i = 0; i < room.size(); ++i) {
      if (second > 3 && static_cast<int>(i) != second % 4) continue;
      const auto& [name, x, z] = room[i];
      const Point p = visitor.start.apply({x + error, 0.5, z - error});
      see(visitor.opened.uuid, second, name, p.x, p.z);
    }
    if (second % 8 == 1) localize(visitor.opened.handle, visitor.opened.uuid);
    // What the kit's scan of this session finds.
    const auto rows = itemsOf("Transformations", visitor.opened.handle);
    ASSERT_EQ(rows.size(), 1U) << second;
    double x = 0, y = 0, z = 0, angle = 0;
    const std::string text = rows[0].at("Transform").at("S");
    ASSERT_EQ(std::sscanf(text.c_str(), "%lf,%lf,%lf,%lf", &x, &y, &z, &angle), 4) << text;
    const RigidTransform found{.translation = {x, y, z}, .angle = angle};
    EXPECT_LT(distance(found.apply({1.5, 0.5, 2}), visitor.start.apply({1.5, 0.5, 2})), 0.02) << second;
  };
  for (int second = 1; second <= visitSeconds(); ++second, now_ += std::chrono::seconds(1)) {
    std::vector<std::thread> threads;
    for (std::size_t first = 0; first < 4; ++first) {
      threads.emplace_back([&, first] {
        for (std::size_t i = first; i < visitors.size(); i += 4) visit(visitors[i], second);
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(transforms().size(), visitors.size());
}

TEST_F(MappingServiceTest, ForgetsIdleSessionsButNoMaps) {
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  walk(mapUUID, false);
  place(mapUUID, "lamp", 1, 1);
  const Opened idle = open("m");
  const Opened busy = open("m");
  for (const Opened& session : {idle, busy}) {
    walk(session.uuid, true);
    EXPECT_EQ(localize(mapUUID, session.uuid).at("transform_written"), true);
  }
  now_ += std::chrono::hours(20);
  localize(mapUUID, busy.uuid);
  EXPECT_EQ(transforms().size(), 2U);
  now_ += std::chrono::hours(5);
  const Opened newest = open("m");
  ASSERT_EQ(transforms().size(), 1U);
  EXPECT_EQ(transforms()[0].at("SessionId").at("S"), busy.handle);
  EXPECT_EQ(itemsOf("SceneUnderstanding").size(), 6U) << "of the map and of the busy session";
  EXPECT_TRUE(localize(mapUUID, idle.uuid).contains("errorMessage"));
  EXPECT_TRUE(localize(idle.handle, busy.uuid).contains("errorMessage"));
  store_.read([&](Database& database) {
    EXPECT_THAT(sightings::of(database, idle.uuid), IsEmpty());
    EXPECT_EQ(sightings::of(database, mapUUID).size(), 3U);
  });
  EXPECT_EQ(assetsOf(newest.handle).size(), 1U);
}

TEST_F(MappingServiceTest, CountsEverySightingOfADetection) {
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  const auto [session, handle] = open("m");
  for (const auto& [name, x, z] : {std::tuple("chair", 0.0, 0.0), {"cup", 2.0, 0.0}, {"book", 0.0, 3.0}}) {
    see(mapUUID, 7, name, x, z);
    see(session, 9, name, z + 1, -x);
    see(session, 9, name, z + 1, -x);  // a save that was repeated
  }
  EXPECT_EQ(itemsOf("SceneUnderstanding").size(), 2U) << "the table keeps the last of a detection";
  EXPECT_EQ(localize(handle, session).at("match_count"), 3);
  store_.read([&, id = session](Database& database) { EXPECT_EQ(sightings::of(database, id).size(), 3U); });
}

TEST_F(MappingServiceTest, DropsTheOldestSightingOfTheCommonestName) {
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  store_.write([&](Database& database) {
    database.execute(
        "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000)"
        " INSERT INTO sightings SELECT '" +
        mapUUID + "', i, CASE WHEN i < 10 THEN 'cup' ELSE 'chair' END, 0, 0, 0, NULL, NULL FROM n");
  });
  see(mapUUID, 20000, "vase", 1, 1);
  const auto kept = store_.read([&](Database& database) { return sightings::of(database, mapUUID); });
  EXPECT_EQ(kept.size(), 10'000U);
  EXPECT_EQ(kept.at(8).name, "cup");
  EXPECT_EQ(kept.at(9).frame, 11);
  EXPECT_EQ(kept.back().name, "vase");
}

TEST_F(MappingServiceTest, LooksAgainWhenRowsArriveAfterARequest) {
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  walk(mapUUID, false);
  const auto [session, handle] = open("m");
  now_ += std::chrono::seconds(1);
  walk(session, true);
  EXPECT_THAT(transforms(), IsEmpty()) << "the session has not asked yet";
  const auto [other, otherHandle] = open("m");
  localize(otherHandle, other);
  walk(other, true);
  now_ += std::chrono::milliseconds(240);
  walk(other, true);
  EXPECT_THAT(transforms(), IsEmpty()) << "not more often than four times a second";
  now_ += std::chrono::milliseconds(10);
  walk(other, true);
  ASSERT_EQ(transforms().size(), 1U);
  EXPECT_EQ(transforms()[0].at("SessionId").at("S"), otherHandle);
}

TEST_F(MappingServiceTest, RefusesToLocalizeAForeignSession) {
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  map("create_map", create("n"));
  const std::string session = map("create_localization_session", create("n")).at("session_uuid");
  EXPECT_THAT(localize(mapUUID, session).at("errorMessage").get<std::string>(),
              HasSubstr("Cannot find the localization session " + session));
  EXPECT_EQ(at("/dev/scene-understanding/localize", {{"mapping_session_id", mapUUID},
                                                     {"localization_session_id", session},
                                                     {"feature_match_distance_meters", 0}}),
            (JSON{{"errorMessage", "feature_match_distance_meters must be greater than 0"}}));
}

TEST_F(MappingServiceTest, AcceptsOnlyTheHashOfItsDeveloperKey) {
  Service keyed(
      store_, [this] { return now_; }, "abc");
  const auto create = [&](const std::string& hash) {
    JSON body = ServiceFixture::create("m");
    body["developer_key"] = hash;
    return keyed
        .answer({.method = "POST", .target = "/prod/maps/create_map", .headers = {}, .body = body.dump()})
        .status;
  };
  EXPECT_EQ(create("900150983cd24fb0d6963f7d28e17f72"), 200);
  EXPECT_EQ(create("abc"), 403);
}

TEST(Store, KeepsTheMapsOfFormat1) {
  const test::TemporaryDirectory directory;
  {
    Store store(directory.path());
    store.write([](Database& database) {
      maps::add(database, {"M", "app", "user", "room", std::nullopt});
      maps::place(database, "M", "P", {"lamp", 1, 2, 3, 0});
    });
    Database database(directory.path() / "localcloud.sqlite", Database::Access::readWrite);
    database.execute(R"sql(
DROP TABLE sightings;
DROP TABLE localization_sessions;
CREATE TABLE localization_sessions (number INTEGER PRIMARY KEY, uuid TEXT, map_uuid TEXT);
INSERT INTO localization_sessions (uuid, map_uuid) VALUES ('L', 'M');
INSERT INTO items VALUES ('Transformations', CAST('M' AS BLOB), x'01', '{"SessionId": {"S": "M"}}');
INSERT INTO items VALUES ('SceneUnderstanding', CAST('M' AS BLOB), x'01',
  '{"SessionId": {"S": "M"}, "FrameId": {"N": "5"}, "ObjectName": {"S": "cup"}, "PositionX": {"N": "1.5"},
    "PositionY": {"N": "0"}, "PositionZ": {"N": "-2"}}');
INSERT INTO items SELECT table_name, CAST('L' AS BLOB), range, replace(attributes, '"M"', '"L"') FROM items
  WHERE table_name = 'SceneUnderstanding';
PRAGMA user_version = 1;
)sql");
  }
  Store store(directory.path());
  store.read([](Database& database) {
    const auto seen = sightings::of(database, "M");
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].frame, 5);
    EXPECT_EQ(seen[0].position.x, 1.5);
    EXPECT_EQ(maps::placements(database, "M").size(), 1U);
    EXPECT_EQ(tables::items(database, tables::SCENE_UNDERSTANDING, "M").size(), 1U);
    EXPECT_THAT(tables::items(database, tables::SCENE_UNDERSTANDING, "L"), IsEmpty());
    EXPECT_THAT(tables::items(database, tables::TRANSFORMATIONS, "M"), IsEmpty());
  });
}

TEST(Store, RefusesForeignAndNewerFiles) {
  const test::TemporaryDirectory newer;
  {
    Store store(newer.path());
    Database(newer.path() / "localcloud.sqlite", Database::Access::readWrite)
        .execute("PRAGMA user_version = 99");
  }
  EXPECT_THROW(Store{newer.path()}, StoreError);
  const test::TemporaryDirectory strange;
  static_cast<void>(strange.write("localcloud.sqlite", std::string(5000, 'x')));
  EXPECT_THROW(Store{strange.path()}, StoreError);
}

}  // namespace
}  // namespace geoloom::localcloud
