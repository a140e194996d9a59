#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/session/Relocalization.h"
#include "geoloom/storage/DataManager.h"
#include "geoloom/storage/TransformScan.h"

#include "tests/session/SessionTest.h"
#include "tests/support/EagerClock.h"
#include "tests/support/Scans.h"

// Every answer that the kit reads, with each value in turn missing or of another type.
namespace geoloom::test {
namespace {

using json = nlohmann::ordered_json;

/// An answer that differs from a good one in one place.
struct Altered {
  std::string place;
  std::string type;  ///< of the value at that place; "nothing" if the key is missing
  std::string text;
};

json::json_pointer parent(const json::json_pointer& place) {
  return place.parent_pointer();
}

void collect(const json& good, const json::json_pointer& place, std::vector<Altered>& all) {
  for (const char* const other : {"null", "true", "7", "\"text\"", "[]", "{}"}) {
    json altered = good;
    altered[place] = json::parse(other);
    all.push_back({place.to_string(), altered[place].type_name(), altered.dump()});
  }
  if (!place.empty() && good[parent(place)].is_object()) {
    json altered = good;
    altered[parent(place)].erase(place.back());
    all.push_back({place.to_string(), "nothing", altered.dump()});
  }
  const json& node = good[place];
  if (node.is_object())
    for (const auto& [key, ignored] : node.items()) collect(good, place / key, all);
  else if (node.is_array())
    for (std::size_t at = 0; at < node.size(); ++at) collect(good, place / at, all);
}

std::vector<Altered> alteredForms(const std::string& good) {
  std::vector<Altered> all;
  collect(json::parse(good), json::json_pointer(), all);
  return all;
}

class WrongTypes : public SessionTest {
 protected:
  void SetUp() override { session_ = openInitialized(MapMode::mapping); }

  std::shared_ptr<DataManager> manager() const {
    return std::make_shared<DataManager>(std::make_shared<platform::ARSession>(), session_,
                                         std::make_shared<CloudAPI>(false));
  }

  /// The status of an opening and the identifiers known after it.
  std::string opened(MapMode mode, const std::string& text) {
    const bool maps = mode == MapMode::mapping;
    answer(maps ? "/prod/maps/create_map" : "/prod/maps/create_localization_session", text);
    const auto opening = manager();
    Recorder<MapStatus> reported;
    const auto report = [&reported](MapStatus status) { reported.add(status); };
    maps ? opening->createMap({}, report) : opening->createLocalizationSession({}, report);
    EXPECT_TRUE(reported.waitForCount(1)) << text;
    platform::DispatchQueue::main()->sync([] {});
    EXPECT_EQ(reported.entries().size(), 1U) << text;
    return std::to_string(rawValue(reported.entries().at(0))) + " " + opening->mapUUID().value_or("-") + " " +
           opening->localizationSessionUUID().value_or("-");
  }

  std::shared_ptr<MapSession> session_;
};

TEST_F(WrongTypes, InTheAnswersToAnOpening) {
  const std::string failed = "2 - -";
  const std::string refused = "4 - -";
  for (const auto& [place, type, text] : alteredForms(R"({"uuid": "M1"})"))
    EXPECT_EQ(opened(MapMode::mapping, text), place.empty() || type == "nothing" ? failed
                                              : type == "string"                 ? "0 text -"
                                                                                 : refused)
        << text;
  for (const auto& [place, type, text] : alteredForms(R"({"session_uuid": "L1", "map_uuid": "M1"})")) {
    const bool unknown = place.empty() || (place == "/session_uuid" && type == "nothing");
    const std::string known = place == "/map_uuid" ? "0 text L1" : "0 M1 text";
    EXPECT_EQ(opened(MapMode::localization, text), unknown            ? failed
                                                   : type == "string" ? known
                                                                      : refused)
        << text;
  }
  for (const MapMode mode : {MapMode::mapping, MapMode::localization})
    for (const auto& [place, type, text] : alteredForms(R"({"errorMessage": "no"})"))
      EXPECT_EQ(opened(mode, text), place.empty() || type == "nothing" ? failed : refused) << text;
  // The first of two members with the same name counts.
  EXPECT_EQ(opened(MapMode::mapping, R"({"uuid": "M1", "uuid": null})"), "0 M1 -");
  EXPECT_EQ(opened(MapMode::mapping, R"({"uuid": null, "uuid": "M1"})"), refused);
}

TEST(WrongTypesOfPlacements, UnreadablePlacementsAreLeftOut) {
  const std::string good =
      R"({"placements": [{"placement": {"x": 1, "y": 2, "z": 3, "ori": 4}, "asset": {"id": "lamp"}}]})";
  for (const auto& [place, type, text] : alteredForms(good)) {
    const std::string leaf = place.substr(place.rfind('/') + 1);
    const bool whole = type == "number" ? leaf == "x" || leaf == "y" || leaf == "z" || leaf == "ori"
                                        : type == "string" && leaf == "id";
    const auto assets =
        relocalize(platform::JSON::parse(text).value(), {0, 0, 0, 0}, [](std::string_view) {});
    EXPECT_EQ(assets.size(), whole ? 1U : 0U) << text;
  }
}

TEST_F(WrongTypes, InAPageOfTransforms) {
  const std::string good =
      R"({"Items": [{"SessionId": {"S": "M1"}, "Timestamp": {"N": "1"}, "MatchCount": {"N": "12"},
          "MatchValue": {"S": "0.5"}, "Transform": {"S": "1,2,3,0"}}], "Count": 1, "ScannedCount": 1})";
  const auto manager = this->manager();
  answer("/prod/maps/create_map", R"({"uuid": "M1"})");
  Recorder<MapStatus> opened;
  manager->createMap({}, [&opened](MapStatus status) { opened.add(status); });
  ASSERT_TRUE(opened.waitForCount(1));
  // Pauses between the tries of an invalid page end at once on this clock.
  platform::Clock::install(std::make_shared<EagerClock>());
  for (const auto& [place, type, text] : alteredForms(good)) {
    answer("Scan", good);
    static_cast<void>(manager->scanTransform());
    answer("Scan", R"({"Items": [{"MatchCount": {"N": "1"}, "Transform": {"S": "before"}}]})");
    ASSERT_EQ(manager->scanTransform(), "before");

    journal.clear();
    answer("Scan", text);
    const bool isPage = place.empty()       ? type == "object"
                        : place == "/Items" ? type == "array" || type == "nothing"
                                            : true;
    std::string expected = "1,2,3,0";
    if (place.empty() || place == "/Items" || place == "/Items/0") expected = "";
    if (place.starts_with("/Items/0/MatchCount")) expected = "";
    if (place == "/Items/0/SessionId/S" && type == "string") expected = "";  // a row of another map
    if (place.starts_with("/Items/0/Transform"))
      expected = place.ends_with("/S") && type == "string" ? "text" : "";
    EXPECT_EQ(manager->scanTransform(), expected) << text;
    const auto lines = journal.entries();
    EXPECT_EQ(std::count_if(
                  lines.begin(), lines.end(),
                  [](const std::string& line) { return line.starts_with("> The request failed. Error: "); }),
              isPage ? 0 : 5)
        << text;
  }
  platform::Clock::install(clock);
}

}  // namespace
}  // namespace geoloom::test
