#include "geoloom/platform/foundation/Dispatch.h"

#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

using MapSessionQueues = SessionTest;

TEST_F(MapSessionQueues, HangingScansDelayNoOtherSession) {
  constexpr std::size_t HANGING = 200;
  Recorder<int> scans;
  answer("Scan", FakeAnswer::acting([&](const FakeConnection& connection) {
           scans.add(1);
           connection.waitForClose();
         }));
  std::vector<std::shared_ptr<MapSession>> sessions;
  for (std::size_t i = 0; i < HANGING; ++i) sessions.push_back(open(MapMode::mapping));
  ASSERT_TRUE(statuses.waitForCount(HANGING));
  clock->advance(std::chrono::seconds(1));
  ASSERT_TRUE(scans.waitForCount(HANGING));

  // Scans from now on are answered; the earlier ones never are.
  answer("Scan", page({{"3", "0.5", "1,2,3,0"}}));
  answer("/prod/maps/find_assets_on_the_map", R"({"placements": [
      {"placement": {"x": 1, "y": 1, "z": 1, "ori": 0}, "asset": {"id": "lamp"}}]})");
  platform::DispatchQueue::serial("another")->sync([] {});
  platform::DispatchQueue::global()->sync([] {});
  platform::DispatchQueue::main()->sync([] {});
  const auto other = openInitialized(MapMode::localization);
  tick(*other);
  ASSERT_TRUE(assets.waitForCount(1));
  EXPECT_FLOAT_EQ(assets.entries().front().front()->position.x, 2);

  // A session with a hanging scan does not tick, so only the other one scans again.
  tick(*other, 3);
  EXPECT_EQ(requests("Scan").size(), HANGING + 4);
  for (const auto& session : sessions)
    EXPECT_TRUE(session->storePlacement({std::make_shared<MapAsset>("a", platform::SCNVector3{}, 0.0F)},
                                        [](bool) {}));
  EXPECT_TRUE(waitForRequests("/prod/maps/place_asset_on_map", HANGING));
}

}  // namespace
}  // namespace geoloom::test
