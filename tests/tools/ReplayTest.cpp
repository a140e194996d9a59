#include <atomic>

#include <gmock/gmock.h>

#include "geoloom/base/ReadFile.h"
#include "geoloom/base/ScopeExit.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/platform/foundation/Log.h"

#include "tests/support/FakeService.h"
#include "tests/support/LocalCloud.h"
#include "tests/support/Model.h"
#include "tools/commands/Commands.h"
#include "tools/replay/Replay.h"
#include "tools/report/Errors.h"
#include "tools/synthetic/SyntheticWalk.h"

namespace geoloom::tools {
namespace {

/// The real network over rendered walks against the local cloud, all in this process.
class ReplayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!test::haveModelAndPhotographs())
      GTEST_SKIP() << "no model or photographs; scripts/setup fetches them";
    platform::SystemLog::setSink([](std::string_view) {});
    platform::FileManager::setDocumentsDirectory(directory_.path() / "documents");
    platform::FileManager::setStateDirectory(directory_.path() / "state");
    options_.map = "room";
    options_.lockstep = true;
    options_.service.service = service();
    options_.service.model = test::builtModel().string();
    options_.service.json = "";
    apply(options_.service);
  }

  [[nodiscard]] std::string service() const {
    const std::string production = cloud_.production();
    return production.substr(0, production.find("/prod/maps"));
  }

  std::filesystem::path walk(const char* name, double rate, std::optional<std::size_t> frames = {}) {
    const auto room = parseScene(*base::readFile(GEOLOOM_TEST_BOARDS, 1 << 20), "boards");
    SyntheticWalkOptions how;
    how.sources.photos = geoloom::test::photographs();
    how.walk = name;
    how.framesPerSecond = rate;
    how.frames = frames;
    how.width = 480;
    how.height = 360;
    std::filesystem::path folder = directory_.path() / name;
    const auto summary = writeSyntheticWalk(*room, how, folder, [](std::size_t, std::size_t) {});
    EXPECT_TRUE(summary) << (summary ? "" : summary.failure().message);
    return folder;
  }

  Trace run() {
    // A clock's timers hold its session, which would be a leak without them. Never destroyed.
    static auto& clocks = *new std::vector<std::shared_ptr<platform::Clock>>;
    const base::ScopeExit keepClock([] { clocks.push_back(platform::Clock::current()); });
    return replay(options_, [this](std::string_view line) {
      if (line.find("sees") != std::string_view::npos) hasSeen_ = true;
    });
  }

  test::TemporaryDirectory directory_;
  test::LocalCloud cloud_;
  ReplayOptions options_;
  std::atomic<bool> hasSeen_ = false;
};

TEST_F(ReplayTest, LockstepIsDeterministic) {
  options_.recordings = {walk("first", 8, 14)};
  const Trace first = run();
  EXPECT_EQ(first.frames.size(), 14U);
  EXPECT_EQ(first.gated(), 4U);  // the gate knows no motion before the fifth frame
  EXPECT_EQ(first.dropped(), 0U);
  EXPECT_EQ(first.analysed(), 10U);
  EXPECT_GT(first.batches.size(), 5U);  // the dog in front of the camera
  EXPECT_EQ(first.notSaved, 0U);
  EXPECT_GT(first.saved, 0U);
  EXPECT_FALSE(cloud_.rows("SceneUnderstanding").empty());

  const Trace second = run();
  EXPECT_NE(first.mapUUID, second.mapUUID);
  for (const char* part : {"frames", "detections", "tracked"})
    EXPECT_EQ(toJSON(first)[part], toJSON(second)[part]);
}

TEST_F(ReplayTest, CountsFramesInRealTime) {
  options_.recordings = {walk("first", 20, 16)};
  options_.lockstep = false;
  const Trace trace = run();
  EXPECT_EQ(trace.frames.size(), 16U);
  EXPECT_EQ(trace.gated(), 4U);
  EXPECT_GE(trace.analysed(), 1U);
  EXPECT_EQ(trace.gated() + trace.dropped() + trace.analysed(), 16U);
  EXPECT_GE(trace.frames.back().time, 0.74);
}

TEST_F(ReplayTest, FindsAssetsOnAnotherWalk) {
  const std::filesystem::path first = walk("first", 2);
  const std::filesystem::path second = walk("second", 2);
  options_.recordings = {first};
  options_.place = first / "truth.json";
  const Trace mapping = run();
  EXPECT_EQ(mapping.placed.size(), 3U);

  options_.recordings = {second};
  options_.place.clear();
  options_.mode = MapMode::localization;
  const Trace localization = run();
  EXPECT_NE(localization.mapUUID, mapping.mapUUID);
  const Trace again = run();
  for (const char* part : {"relocalized", "localizations"})
    EXPECT_EQ(toJSON(localization)[part], toJSON(again)[part]);
  const auto truth = readPlacements(second / "truth.json");
  ASSERT_TRUE(truth);
  const auto errors = errorsOf(localization, *truth);
  ASSERT_EQ(errors.size(), 3U);
  EXPECT_LE(medianOf(errors), 0.05) << ::testing::PrintToString(tableOf(errors));
  for (const AssetError& error : errors) EXPECT_LE(error.degrees.value_or(180), 2);
}

TEST_F(ReplayTest, KeepsWhatItHasWhenCancelled) {
  options_.recordings = {walk("first", 8, 14)};
  options_.isCancelled = [this] { return hasSeen_.load(); };
  const Trace trace = run();
  EXPECT_TRUE(trace.isInterrupted);
  EXPECT_GE(trace.analysed(), 1U);
  EXPECT_LT(trace.frames.size(), 14U);
  EXPECT_NE(trace.mapUUID, "");
}

/// One service does not answer: the trace is written all the same.
TEST_F(ReplayTest, ReportsServicesThatFailDuringTheWalk) {
  const std::string first = walk("first", 8, 14).string();
  const std::string unused = fmt::format("http://127.0.0.1:{}", geoloom::test::unusedPort());
  const auto ends = [&](const char* mode, const char* dead) {
    const auto json = directory_.path() / mode;
    std::vector<std::string> arguments = {
        "replay",  "--lockstep", "--map",       "room",       "--mode", mode,      "--service",
        service(), "--json",     json.string(), "--patience", "3",      "--model", options_.service.model,
        dead,      unused,       first};
    std::reverse(arguments.begin(), arguments.end());  // as CLI11 wants a vector
    CLI::App app;
    addReplayCommand(app);
    std::string failure;
    ::testing::internal::CaptureStdout();
    try {
      app.parse(std::move(arguments));
    } catch (const CommandError& error) {
      failure = fmt::format("{}: {}", static_cast<int>(error.code()), error.what());
    }
    (void)::testing::internal::GetCapturedStdout();
    EXPECT_TRUE(readTrace(json));
    return failure;
  };
  EXPECT_THAT(ends("mapping", "--tables-url"),
              ::testing::ContainsRegex("^4: " + unused + ": [0-9]+ of [0-9]+ rows were not saved: "));
  EXPECT_EQ(ends("localization", "--scene-understanding-url"),
            "4: " + unused + ": no answer to the localization in 3 s");
}

TEST_F(ReplayTest, ReportsFailuresInOneLine) {
  options_.recordings = {walk("first", 8, 6)};
  const auto failure = [&] {
    try {
      (void)run();
    } catch (const CommandError& error) {
      return fmt::format("{}: {}", static_cast<int>(error.code()), error.what());
    }
    return std::string("none");
  };
  using ::testing::HasSubstr;
  options_.mode = MapMode::localization;
  EXPECT_THAT(failure(), HasSubstr("4: map \"room\": not found; make it with --mode mapping first"));
  options_.place = directory_.path() / "first/truth.json";
  EXPECT_THAT(failure(), HasSubstr("2: --place needs --mode mapping"));
  options_.mode = MapMode::mapping;
  options_.place = directory_.path() / "absent.json";
  EXPECT_THAT(failure(), HasSubstr("absent.json: there is no such file"));
  options_.place.clear();
  const std::string unused = fmt::format("http://127.0.0.1:{}", geoloom::test::unusedPort());
  options_.service.service = unused;
  apply(options_.service);
  EXPECT_THAT(failure(), AllOf(HasSubstr("4: " + unused + "/prod/maps: no answer: "),
                               HasSubstr("; start the service: ")));
  const geoloom::test::FakeService refusing([](const auto&) {
    return geoloom::test::FakeAnswer::json(R"({"errorMessage":"the key is not known"})", 403);
  });
  options_.service.service = refusing.url();
  apply(options_.service);
  EXPECT_THAT(failure(), HasSubstr("4: " + refusing.url("/prod/maps") +
                                   ": the service refused the session: the key is not known"));
  options_.recordings = {directory_.path()};
  EXPECT_THAT(failure(), HasSubstr("3: "));
}

}  // namespace
}  // namespace geoloom::tools
