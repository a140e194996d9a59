#include <cmath>

#include <gmock/gmock.h>

#include "localcloud/MappingService.h"
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

  void see(const std::string& session, int frame, const std::string& name, double x, double z) {
    const auto number = [](double value) { return JSON{{"N", std::to_string(value)}}; };
    const JSON item = {{"SessionId", {{"S", session}}}, {"FrameId", {{"N", std::to_string(frame)}}},
                       {"ObjectName", {{"S", name}}},   {"PositionX", number(x)},
                       {"PositionY", number(0.5)},      {"PositionZ", number(z)}};
    table("PutItem", {{"TableName", "SceneUnderstanding"}, {"Item", item}});
    ASSERT_EQ(status_, 200);
  }

  /// Three objects as seen by a session that began somewhere else, turned by a quarter circle.
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

  std::vector<JSON> transforms() {
    const JSON page = table("Scan", {{"TableName", "Transformations"}});
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
  EXPECT_EQ(session.at("map_uuid"), newest.at("uuid"));
  EXPECT_TRUE(session.at("session_uuid").is_string());
  EXPECT_EQ(session.size(), 2U);
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
  const std::string session = map("create_localization_session", create("m")).at("session_uuid");
  walk(mapUUID, false);
  EXPECT_EQ(localize(mapUUID, session),
            (JSON{{"match_count", 0},
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
  EXPECT_EQ(rows[0].at("SessionId"), (JSON{{"S", mapUUID}}));
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
  localize(mapUUID, session);
  EXPECT_EQ(transforms().size(), 1U);
}

TEST_F(MappingServiceTest, ANewSessionSupersedesEarlierOnes) {
  const std::string mapUUID = map("create_map", create("m")).at("uuid");
  const std::string other = map("create_map", create("n")).at("uuid");
  const std::string otherSession = map("create_localization_session", create("n")).at("session_uuid");
  const std::string first = map("create_localization_session", create("m")).at("session_uuid");
  for (const std::string& uuid : {mapUUID, other}) walk(uuid, false);
  for (const std::string& uuid : {first, otherSession}) walk(uuid, true);
  localize(mapUUID, first);
  localize(other, otherSession);
  ASSERT_EQ(transforms().size(), 2U);

  map("create_localization_session", create("m"));
  ASSERT_EQ(transforms().size(), 1U) << "the rows of other maps stay";
  EXPECT_EQ(transforms()[0].at("SessionId").at("S"), other);
  EXPECT_EQ(localize(mapUUID, first).at("transform_written"), false);
  EXPECT_EQ(transforms().size(), 1U);
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
