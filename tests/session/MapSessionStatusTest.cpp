#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Text = std::optional<std::string>;

struct Opening {
  MapMode mode;
  FakeAnswer answer;
  MapStatus status;
  Text session;
  Text map;
};

Opening mapping(const std::string& answer, MapStatus status, const Text& map = {}) {
  return {MapMode::mapping, FakeAnswer::json(answer), status, map, map};
}

Opening localization(const std::string& answer, MapStatus status, const Text& session = {},
                     const Text& map = {}) {
  return {MapMode::localization, FakeAnswer::json(answer), status, session, map};
}

class Opened : public SessionTest, public ::testing::WithParamInterface<Opening> {};

TEST_P(Opened, ReportsOneStatusAndKeepsTheIdentifiers) {
  const Opening& opening = GetParam();
  const bool maps = opening.mode == MapMode::mapping;
  answer(maps ? "/prod/maps/create_map" : "/prod/maps/create_localization_session", opening.answer);
  const auto session = open(opening.mode);
  ASSERT_TRUE(statuses.waitForCount(1));
  platform::DispatchQueue::main()->sync([] {});
  EXPECT_THAT(statuses.entries(), ElementsAre(opening.status));
  EXPECT_EQ(session->mapSessionUUID(), opening.session);
  EXPECT_EQ(session->mappingUUID(), opening.map);
}

// What stands at each place of an answer is WrongTypes' business.
INSTANTIATE_TEST_SUITE_P(
    Mapping, Opened,
    ::testing::Values(mapping(R"({"uuid": "M1"})", MapStatus::initialized, "M1"),
                      mapping(R"({"uuid": "M2", "errorMessage": "x"})", MapStatus::initialized, "M2"),
                      mapping(R"({"errorMessage": "Cannot find the map m3"})", MapStatus::serviceError),
                      mapping(R"({"message": "Forbidden"})", MapStatus::connectionFailed),
                      mapping(R"(["uuid"])", MapStatus::connectionFailed),
                      mapping(R"("uuid")", MapStatus::connectionFailed),
                      mapping("<html>no JSON</html>", MapStatus::connectionFailed)));

INSTANTIATE_TEST_SUITE_P(
    Localization, Opened,
    ::testing::Values(
        localization(R"({"session_uuid": "L1", "map_uuid": "M1"})", MapStatus::initialized, "L1", "M1"),
        localization(R"({"errorMessage": "Oh: Cannot find the map m3"})", MapStatus::mapNotFound),
        localization(R"({"errorMessage": "cannot find the map"})", MapStatus::serviceError),
        localization(R"({"errorMessage": ["Cannot find the map"]})", MapStatus::serviceError),
        localization(R"({"uuid": "M1"})", MapStatus::connectionFailed),
        Opening{MapMode::localization, FakeAnswer::json(R"({"session_uuid": "L", "map_uuid": "M"})", 500),
                MapStatus::initialized, "L", "M"},
        Opening{MapMode::localization, FakeAnswer::reset(), MapStatus::connectionFailed, {}, {}}));

using MapSessionOpening = SessionTest;

TEST_F(MapSessionOpening, AStatusWithoutACallbackIsDroppedForGood) {
  const auto session = create(MapMode::mapping);
  while (!session->mappingUUID()) std::this_thread::yield();
  platform::DispatchQueue::main()->sync([] {});
  registerCallbacks(*session);
  platform::DispatchQueue::main()->sync([] {});
  EXPECT_THAT(statuses.entries(), IsEmpty());
}

struct Watchful final : MapSession {
  using MapSession::MapSession;
  void reportStatus(MapStatus status) override {
    reported.add(status);
    MapSession::reportStatus(status);
  }
  Recorder<MapStatus> reported;
};

TEST_F(MapSessionOpening, AStatusNeedsACallbackWhenReportedAndGoesToTheOneOfItsDelivery) {
  answer("/prod/maps/create_map", FakeAnswer::silence());
  const auto session = create<Watchful>(MapMode::mapping);
  Gate registered;
  platform::DispatchQueue::main()->async([&] { EXPECT_TRUE(registered.wait()); });
  session->reportStatus(MapStatus::mapNotFound);
  session->registerCallbacks({}, [](MapStatus) { ADD_FAILURE() << "replaced before the delivery"; }, {});
  session->reportStatus(MapStatus::serviceError);
  registerCallbacks(*session);
  registered.open();
  platform::DispatchQueue::main()->sync([] {});
  EXPECT_THAT(statuses.entries(), ElementsAre(MapStatus::serviceError));
}

TEST_F(MapSessionOpening, ADerivedSessionHearsOfEveryStatus) {
  const auto session = create<Watchful>(MapMode::mapping);
  ASSERT_TRUE(session->reported.waitForCount(1));
  EXPECT_THAT(session->reported.entries(), ElementsAre(MapStatus::initialized));
}

struct Throwing final : MapSession {
  using MapSession::MapSession;
  void reportStatus(MapStatus) override { throw std::runtime_error("mine"); }
};

// The status is reported before the assets are asked for.
TEST_F(MapSessionOpening, AnExceptionOutOfADerivedSessionDoesNotStopTheOpening) {
  create<Throwing>(MapMode::localization);
  ASSERT_TRUE(waitForRequests("/prod/maps/find_assets_on_the_map", 1));
  const auto lines = journal.entries();
  const auto reported = std::ranges::find(lines, "! exception out of the reportStatus callback: mine");
  EXPECT_NE(std::find(reported, lines.end(), "> retrieve assets"), lines.end());
}

TEST_F(MapSessionOpening, AnExceptionOutOfTheStatusCallbackIsLogged) {
  platform::DispatchQueue::main()->sync([this] {
    create(MapMode::mapping)->registerCallbacks({}, [](MapStatus) { throw std::runtime_error("mine"); }, {});
  });
  EXPECT_TRUE(journal.waitUntil([](const auto& lines) {
    return std::find(lines.begin(), lines.end(), "! exception out of the status callback: mine") !=
           lines.end();
  }));
}

}  // namespace
}  // namespace geoloom::test
