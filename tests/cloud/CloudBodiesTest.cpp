#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "geoloom/cloud/CloudBodies.h"

namespace {

using namespace geoloom;
using nlohmann::json;
using platform::JSON;

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

const CloudDevice device{"12.4", "iPhone X", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"};
const CloudDevice nameless{"12.4", "iPhone X", std::nullopt};
const CloudLocation somewhere{-122.5, 37.25, 12.0, 5.0, 3.5};

json commonBlock() {
  return {{"app_id", "demo"},         {"developer_key", "900150983cd24fb0d6963f7d28e17f72"},
          {"pod_version", "v0.1.10"}, {"data_version", "0.3"},
          {"device_version", "12.4"}, {"device_model", "iPhone X"}};
}

OpeningRequest opening(const CloudLocation& location) {
  return {"demo", "u7", "m3", "900150983cd24fb0d6963f7d28e17f72", location};
}

TEST(CloudBodies, OpeningHasTheLocationOnlyIfComplete) {
  json expected = commonBlock();
  expected.update({{"user_id", "u7"}, {"map_id", "m3"}});
  EXPECT_EQ(json::parse(createMapBody(nameless, opening({}))), expected);
  expected["device_uuid"] = *device.uuid;
  EXPECT_EQ(json::parse(createMapBody(device, opening({}))), expected);
  for (auto part : {&CloudLocation::longitude, &CloudLocation::latitude, &CloudLocation::altitude,
                    &CloudLocation::horizontalAccuracy, &CloudLocation::verticalAccuracy}) {
    CloudLocation partial = somewhere;
    partial.*part = std::nullopt;
    EXPECT_EQ(json::parse(createMapBody(device, opening(partial))), expected);
  }
  EXPECT_EQ(json::parse(createLocalizationSessionBody(device, opening({}), false)), expected);
  expected.update(
      {{"long", -122.5}, {"lat", 37.25}, {"alt", 12.0}, {"horAccuracy", 5.0}, {"verAccuracy", 3.5}});
  EXPECT_EQ(json::parse(createMapBody(device, opening(somewhere))), expected);
  expected["use_beta"] = true;
  EXPECT_EQ(json::parse(createLocalizationSessionBody(device, opening(somewhere), true)), expected);
}

TEST(CloudBodies, NearbyHasNoDeviceIdentifier) {
  NearbyRequest request{"demo", std::nullopt, -122.5, 37.25, 0.01, 0.02, "900150983cd24fb0d6963f7d28e17f72"};
  json expected = commonBlock();
  expected.update(
      {{"longitude", -122.5}, {"latitude", 37.25}, {"longitude_delta", 0.01}, {"latitude_delta", 0.02}});
  EXPECT_EQ(json::parse(listNearbyMapsBody(device, request)), expected);
  request.userID = "";
  expected["user_id"] = "";
  EXPECT_EQ(json::parse(listNearbyMapsBody(device, request)), expected);
}

TEST(CloudBodies, PlacementsKeepTheirOrder) {
  const auto lamp = std::make_shared<MapAsset>("lamp", platform::SCNVector3{0.1F, -2.0F, 1e-7F}, 1.5707964F);
  const auto odd =
      std::make_shared<MapAsset>("o\"\xff\n", platform::SCNVector3{NOT_A_NUMBER, 0.0F, 1.0F}, -0.0F);
  EXPECT_EQ(placeAssetsBody("M1", {}), R"({"map_uuid":"M1","placements":[]})");
  EXPECT_EQ(placeAssetsBody("M1", {lamp, nullptr, odd}),
            R"({"map_uuid":"M1","placements":[)"
            R"({"asset_id":"lamp","x":0.1,"y":-2.0,"z":1e-07,"orientation":1.5707964},)"
            R"({"asset_id":"o\"�\n","x":null,"y":0.0,"z":1.0,"orientation":-0.0}]})");
}

TEST(CloudBodies, FindAndLocalize) {
  EXPECT_EQ(findAssetsBody("M\\1"), R"({"map_uuid":"M\\1"})");
  EXPECT_EQ(
      sceneLocalizationBody("M1", "L1", 0.3F),
      R"({"mapping_session_id":"M1","localization_session_id":"L1","feature_match_distance_meters":0.3})");
}

TEST(CloudAnswers, MapsAreReadInOrderWithoutMalformedOnes) {
  const auto map = [](const std::string& id) {
    return R"({"user_id":"u","map_id":")" + id +
           R"(","latitude":1,"longitude":2.5,"altitude":3,"vertical_accuracy":4,"horizontal_accuracy":5})";
  };
  const auto with = [&map](const std::string& key, const std::string& value) {
    json malformed = json::parse(map("malformed"));
    if (value.empty())
      malformed.erase(key);
    else
      malformed[key] = json::parse(value);
    return malformed.dump();
  };
  std::vector<std::string> elements{map("first"), "null", "[]", "1", "{}"};
  for (const std::string key : {"user_id", "map_id"})
    for (const std::string value : {"", "null", "1", "true", "[]", "{}"})
      elements.push_back(with(key, value));
  for (const std::string key :
       {"latitude", "longitude", "altitude", "vertical_accuracy", "horizontal_accuracy"})
    for (const std::string value : {"", "null", "\"1\"", "true", "[]", "{}"})
      elements.push_back(with(key, value));
  elements.push_back(map("last"));
  std::string array;
  std::string object;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    array += (i ? "," : "") + elements[i];
    object += fmt::format("{}\"{}\":{}", i ? "," : "", elements.size() - i, elements[i]);
  }
  for (const std::string& text : {"[" + array + "]", "{" + object + "}"}) {
    const auto maps = readMaps(*JSON::parse(text));
    ASSERT_EQ(maps.size(), 2U);
    EXPECT_EQ(maps[0]->mapID, "first");
    EXPECT_EQ(maps[1]->mapID, "last");
    EXPECT_EQ(maps[0]->userID, "u");
    EXPECT_EQ(maps[0]->latitude, 1);
    EXPECT_EQ(maps[0]->longitude, 2.5);
    EXPECT_EQ(maps[0]->altitude, 3);
    EXPECT_EQ(maps[0]->verticalAccuracy, 4);
    EXPECT_EQ(maps[0]->horizontalAccuracy, 5);
  }
  for (const std::string text : {"[]", "{}", "null", "1", "\"x\"", R"({"errorMessage":"no"})"})
    EXPECT_TRUE(readMaps(*JSON::parse(text)).empty()) << text;
}

}  // namespace
