#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

using ::testing::ElementsAre;

using MapSessionStatus = SessionTest;

// WrongTypes tests the answers with a value of another type at each place.
TEST_F(MapSessionStatus, FollowsFromTheAnswer) {
  struct Opening {
    MapMode mode;
    FakeAnswer answer;
    MapStatus status;
    std::string refusal;
    std::optional<std::string> session;
    std::optional<std::string> map;
  };
  using enum MapMode;
  using enum MapStatus;
  const std::optional<std::string> none;
  const Opening openings[] = {
      {mapping, FakeAnswer::json(R"({"uuid": "M1", "errorMessage": "x"})"), initialized, "", "M1", "M1"},
      {mapping, FakeAnswer::json(R"({"errorMessage": "Cannot find the map m3"})"), serviceError,
       "Cannot find the map m3", none, none},
      {mapping, FakeAnswer::json("<html>no JSON</html>"), connectionFailed, "", none, none},
      {localization, FakeAnswer::json(R"({"session_uuid": "L1", "map_uuid": "M1"})", 500), initialized, "",
       "L1", "M1"},
      {localization, FakeAnswer::json(R"({"errorMessage": "Oh: Cannot find the map m3"})"), mapNotFound,
       "Oh: Cannot find the map m3", none, none},
      {localization, FakeAnswer::json(R"({"errorMessage": "cannot find the map"})"), serviceError,
       "cannot find the map", none, none},
      {localization, FakeAnswer::json(R"({"uuid": "M1"})"), connectionFailed, "", none, none},
      {localization, FakeAnswer::reset(), connectionFailed, "", none, none}};
  for (const Opening& opening : openings) {
    answer(
        "/prod/maps/" + std::string(opening.mode == mapping ? "create_map" : "create_localization_session"),
        opening.answer);
    statuses.clear();
    const auto session = open(opening.mode);
    ASSERT_TRUE(statuses.waitForCount(1));
    platform::DispatchQueue::main()->sync([] {});
    EXPECT_THAT(statuses.entries(), ElementsAre(opening.status));
    EXPECT_EQ(session->mapSessionUUID(), opening.session);
    EXPECT_EQ(session->mappingUUID(), opening.map);
    EXPECT_EQ(watch(*session).count("opened " + opening.refusal), 1U);
  }
}

struct Derived final : MapSession {
  using MapSession::MapSession;
  void reportStatus(MapStatus status) override {
    MapSession::reportStatus(status);
    reported.add(status);
    throw std::runtime_error("mine");
  }
  Recorder<MapStatus> reported;
};

TEST_F(MapSessionStatus, RequiresACallbackAndGoesToTheOneAtDelivery) {
  answer("/prod/maps/create_map", FakeAnswer::silence());
  const auto session = create<Derived>(MapMode::mapping);
  Gate registered;
  platform::DispatchQueue::main()->async([&] { EXPECT_TRUE(registered.wait()); });
  EXPECT_THROW(session->reportStatus(MapStatus::mapNotFound), std::runtime_error);
  session->registerCallbacks({}, [](MapStatus) { ADD_FAILURE() << "replaced before the delivery"; }, {});
  EXPECT_THROW(session->reportStatus(MapStatus::serviceError), std::runtime_error);
  registerCallbacks(*session);
  registered.open();
  platform::DispatchQueue::main()->sync([] {});
  EXPECT_THAT(statuses.entries(), ElementsAre(MapStatus::serviceError));
}

// The status is reported before the assets are requested, and an exception does not prevent that.
TEST_F(MapSessionStatus, PassesThroughADerivedSession) {
  const auto session = create<Derived>(MapMode::localization);
  ASSERT_TRUE(waitForRequests("/prod/maps/find_assets_on_the_map", 1));
  EXPECT_THAT(session->reported.entries(), ElementsAre(MapStatus::initialized));
  const auto lines = journal.entries();
  const auto reported = std::ranges::find(lines, "! exception out of the reportStatus callback: mine");
  EXPECT_NE(std::find(reported, lines.end(), "> retrieve assets"), lines.end());
}

}  // namespace
}  // namespace geoloom::test
