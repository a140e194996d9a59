#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "geoloom/base/ReadFile.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/commands/Commands.h"
#include "tools/commands/JSONFile.h"
#include "tools/replay/Placements.h"
#include "tools/replay/ServiceOptions.h"
#include "tools/replay/Trace.h"
#include "tools/report/Canvas.h"
#include "tools/report/Errors.h"
#include "tools/report/TopDownPlot.h"

namespace geoloom::tools {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// Turned by `angle` about the vertical, then shifted.
platform::simd_float4x4 heading(double angle, float x, float y, float z) {
  const auto c = static_cast<float>(std::cos(angle));
  const auto s = static_cast<float>(std::sin(angle));
  platform::simd_float4x4 m;
  m.columns = {{{c, 0, -s, 0}, {0, 1, 0, 0}, {s, 0, c, 0}, {x, y, z, 1}}};
  return m;
}

Trace someTrace() {
  Trace trace;
  trace.mode = "localization";
  trace.map = "room";
  trace.mapUUID = "M";
  trace.sessionUUID = "L";
  trace.recordings = {{"walk", 3, heading(0.5, 1, 2, 3)}};
  trace.statuses = {{0, "initialized"}};
  trace.frames = {{0, 0, 0, {0.1F, 0, 0}, true, false},
                  {0, 1, 0.1, {0.2F, 0, 0}, false, true},
                  {0, 2, 0.2, {}, false, false}};
  trace.batches = {{1, {{"dog", 0.1F, {1, 2, 3}, 0.3F}}, 2}};
  trace.tracks = {{7, "dog", 9, {0, 1, 2, 3, 4, 5}}};
  trace.placed = {{"lamp", {1, 2, 3}, 0.5F, -1}};
  trace.relocalized = {{0.1, {}},
                       {0.2, {{"lamp", {1, 2, 3}, 0.5F, 0.5F}}, TracedTransform{{0.1F, 0, -2}, 3}}};
  trace.stages = {{"vision", {3, 1, 2}}};
  return trace;
}

TEST(Trace, ReadsBackWhatItWrote) {
  const geoloom::test::TemporaryDirectory folder;
  const nlohmann::ordered_json written = toJSON(someTrace());
  const auto read = readTrace(folder.write("trace.json", written.dump()));
  ASSERT_TRUE(read) << read.failure().message;
  nlohmann::ordered_json again = toJSON(*read);
  again["summary"] = written["summary"];
  EXPECT_EQ(again, written);
  EXPECT_EQ(written["summary"]["gated"], 1);
  EXPECT_EQ(written["summary"]["analysed"], 1);
  EXPECT_EQ(written["summary"]["dropped"], 1);
  EXPECT_EQ(read->batches[0].objects[0].confidence, 0.1F);  // bit for bit
}

TEST(Trace, WhatIsWrongWithAFileIsNamed) {
  const geoloom::test::TemporaryDirectory folder;
  const auto failure = [&](const nlohmann::json& patch) {
    nlohmann::json json = nlohmann::json::parse(toJSON(someTrace()).dump());
    json.merge_patch(patch);
    const auto read = readTrace(folder.write("trace.json", json.dump()));
    return read ? std::string("none") : read.failure().message;
  };
  EXPECT_EQ(failure(nlohmann::json::object()), "none");
  EXPECT_THAT(failure({{"version", 2}}), HasSubstr("trace.json: version must be 1"));
  EXPECT_THAT(failure({{"frames", 4}}), HasSubstr("frames must be a list"));
  EXPECT_THAT(failure({{"recordings", nlohmann::json::array()}}),
              HasSubstr("frames[0].recording names none"));
  EXPECT_THAT(failure({{"frames", nlohmann::json::array()}}), HasSubstr("detections[0].frame names none"));
  EXPECT_THAT(readTrace(folder.path() / "absent").failure().message, HasSubstr("there is no such file"));
  EXPECT_THAT(readTrace(folder.path()).failure().message, HasSubstr("is a directory"));
}

TEST(JSONFile, ReplacesWhatStoodThereOnlyByAWholeText) {
  const geoloom::test::TemporaryDirectory folder;
  const auto path = folder.write("trace.json", "earlier");
  const auto link = folder.path() / "link";
  std::filesystem::create_symlink(path, link);
  JSONFile file(link);
  EXPECT_EQ(base::contentOf(path), "earlier");
  constexpr auto mode = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
  std::filesystem::permissions(path, mode);
  file.write({{"map", "r\xff"}});
  EXPECT_EQ(base::contentOf(path), "{\n \"map\": \"r\uFFFD\"\n}\n");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::filesystem::status(path).permissions(), mode);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 2);

  const auto dangling = folder.path() / "dangling";
  std::filesystem::create_symlink("target", dangling);
  JSONFile(dangling).write({1});
  EXPECT_EQ(base::contentOf(folder.path() / "target"), "[\n 1\n]\n");

  EXPECT_THROW(JSONFile(folder.path() / "absent/trace.json"), CommandError);
  EXPECT_THROW(JSONFile(folder.path()), CommandError);
  JSONFile full("/dev/full");
  EXPECT_THROW(full.write({1}), CommandError);
}

/// The program itself.
struct Ended {
  int code = 0;
  std::string errors;
};

Ended run(std::vector<std::string> arguments) {
  using geoloom::test::ChildProcess;
  ChildProcess process(std::move(arguments), ChildProcess::Errors::taken);
  Ended ended;
  ended.errors = process.errors();
  const int status = process.wait();
  ended.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return ended;
}

TEST(Command, WhatMakesNoSenseIsNamedInOneLine) {
  using Arguments = std::vector<std::string>;
  const std::tuple<Arguments, int, const char*> cases[] = {
      {{"nonsense"}, 2, "geoloom: nonsense: there is no such command"},
      {{"maps", "nonsense"}, 2, "geoloom: nonsense: there is no such command"},
      {{"maps", "near", "nan", "8"}, 2, "LAT: must be from -90 to 90, not nan"},
      {{"maps", "near", "1", "8", "--span", "0"}, 2, "--span: must be above 0 and at most 360, not 0"},
      {{"maps", "near", "1", "8", "--model", "m"}, 2, "--model"},
      {{"record", "synthetic", "w", "--frames", "-1"}, 2, "--frames: must be from 1 to 1000000000, not -1"},
      {{"record", "synthetic", "w", "--rate", "nan"}, 2, "--rate: must be from 1 to 120, not nan"},
      {{"record", "synthetic", "w", "--scene", "/"}, 3, "geoloom: /: is a directory"},
      {{"replay", "w", "--mode", "mapping", "--map", "m", "--patience", "inf"},
       2,
       "--patience: must be above"},
      {{"report", "m", "l", "--max-error", "1"}, 2, "--max-error requires --truth"},
      {{"report", "m", "l", "--truth", "t", "--max-error", "nan"}, 2, "--max-error: must be 0 or more"},
  };
  for (const auto& [arguments, code, line] : cases) {
    Arguments command = arguments;
    command.insert(command.begin(), GEOLOOM_TEST_COMMAND);
    const Ended ended = run(std::move(command));
    EXPECT_EQ(ended.code, code) << line;
    EXPECT_THAT(ended.errors, HasSubstr(line));
    EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1) << ended.errors;
  }
}

TEST(Command, StandardOutputMayBeClosedButNotFull) {
  const auto printScene = [](const char* to) {
    return run(
        {"sh", "-c", std::string("exec \"$0\" record synthetic --print-scene ") + to, GEOLOOM_TEST_COMMAND});
  };
  EXPECT_EQ(printScene(">&-").code, 0);
  const Ended full = printScene(">/dev/full");
  EXPECT_EQ(full.code, 3);
  EXPECT_THAT(full.errors, HasSubstr("standard output: cannot be written"));
}

TEST(Report, EndsByWhatWasFound) {
  const geoloom::test::TemporaryDirectory folder;
  const auto write = [&folder](const char* name, const std::string& text) {
    return folder.write(name, text).string();
  };
  Trace trace = someTrace();
  const std::string localization = write("localization.json", toJSON(trace).dump());
  trace.mode = "mapping";
  const std::string mapping = write("mapping.json", toJSON(trace).dump());
  trace.mode = "localization";
  trace.relocalized.clear();
  const std::string lost = write("lost.json", toJSON(trace).dump());
  const std::string elsewhere =
      write("truth.json", R"({"frame": "recording", "assets": [{"id": "other", "x": 0, "y": 0, "z": 0}]})");

  std::string said;
  const auto report = [&said](std::vector<std::string> arguments) {
    CLI::App app;
    addReportCommand(app);
    std::reverse(arguments.begin(), arguments.end());  // as CLI11 wants a vector
    arguments.emplace_back("report");
    ::testing::internal::CaptureStdout();
    std::string failure;
    try {
      app.parse(std::move(arguments));
    } catch (const CommandError& error) {
      failure = fmt::format("{}: {}", static_cast<int>(error.code()), error.what());
    }
    said = ::testing::internal::GetCapturedStdout();
    return failure;
  };
  EXPECT_EQ(report({mapping, localization}), "");
  EXPECT_EQ(said,
            "mapping: map \"room\", 3 frames, 1 objects tracked, 1 assets placed\n"
            "localization: map \"room\", 3 frames, 1 objects tracked, 1 assets found\n");
  EXPECT_THAT(report({localization, mapping}),
              HasSubstr("3: " + localization + ": is the trace of a localiz"));
  EXPECT_THAT(report({mapping, lost}), HasSubstr("5: " + lost + ": no transform was found"));
  EXPECT_THAT(report({mapping, localization, "--truth", elsewhere}), HasSubstr("5: " + localization));
  EXPECT_THAT(said, HasSubstr("not found"));
}

TEST(Trace, PercentilesAreValuesThatOccurred) {
  TracedStage stage{"s", {}};
  EXPECT_EQ(stage.percentile(0.5), 0);
  for (int i = 100; i > 0; --i) stage.milliseconds.push_back(i);
  EXPECT_EQ(stage.percentile(0.5), 50);
  EXPECT_EQ(stage.percentile(0.99), 99);
  EXPECT_EQ(stage.percentile(1), 100);
  EXPECT_EQ(stage.percentile(0), 1);
}

TEST(Placements, AreReadWithTheirFrame) {
  const auto read =
      parsePlacements(R"({"frame": "recording", "assets": [{"id": "a", "x": 1, "y": 2, "z": 3}]})", "file");
  ASSERT_TRUE(read) << read.failure().message;
  EXPECT_EQ(read->frame, Placements::Frame::recording);
  ASSERT_EQ(read->assets.size(), 1U);
  EXPECT_EQ(read->assets[0].orientation, 0);
  EXPECT_EQ(parsePlacements(R"({"assets": []})", "file")->frame, Placements::Frame::session);

  const auto failure = [](const char* text) { return parsePlacements(text, "file").failure().message; };
  EXPECT_EQ(failure("{"), "file: is not JSON");
  EXPECT_EQ(failure("[]"), "file: assets must be a list");
  EXPECT_EQ(failure(R"({"assets": [{"id": 1}]})"), "file: assets[0].id must be a text");
  EXPECT_EQ(failure(R"({"assets": [{"id": "a", "x": 1, "y": "2"}]})"), "file: assets[0].y must be a number");
  EXPECT_EQ(failure(R"({"frame": "world", "assets": []})"),
            "file: frame must be \"session\" or \"recording\"");
}

TEST(Placements, FollowTheRecordingIntoTheSession) {
  const double quarter = std::acos(0.0);
  Placements placements{Placements::Frame::recording, {{"a", 1, 0.5, 0, 0.2}}};
  const auto moved = inSession(placements, heading(quarter, 10, 20, 30));
  // A quarter turn (cos, 0, sin; 0, 1, 0; -sin, 0, cos) takes (1, 0) to (0, -1).
  EXPECT_NEAR(moved[0].x, 10, 1e-6);
  EXPECT_NEAR(moved[0].y, 20.5, 1e-6);
  EXPECT_NEAR(moved[0].z, 29, 1e-6);
  EXPECT_NEAR(moved[0].orientation, 0.2 + quarter, 1e-6);
  placements.frame = Placements::Frame::session;
  EXPECT_EQ(inSession(placements, heading(quarter, 10, 20, 30))[0].x, 1);
}

TEST(Errors, CompareTheLastListWithTheTruth) {
  Trace trace = someTrace();
  trace.recordings[0].sessionFromRecording = heading(0, 1, 0, 0);
  trace.relocalized.back().assets = {{"near", {1, 0, 0.03F}, 0.25F, 0.5F}, {"far", {1, 4, 3}, 0, 0.5F}};
  const Placements truth{Placements::Frame::recording,
                         {{"near", 0, 0, 0, -3}, {"far", 0, 0, 0, 3}, {"lost", 5, 5, 5, 0}}};
  const auto errors = errorsOf(trace, truth);
  ASSERT_EQ(errors.size(), 3U);
  EXPECT_NEAR(errors[0].metres, 0.03, 1e-6);
  EXPECT_NEAR(errors[1].metres, 5, 1e-6);
  EXPECT_FALSE(errors[2].found);
  // The transform turns by 3: 0.25 + 3 is 0.0332 short of -3 and a full turn.
  EXPECT_NEAR(errors[0].degrees.value_or(-1), 1.9014, 1e-3);
  EXPECT_NEAR(errors[1].degrees.value_or(-1), 0, 1e-4);
  EXPECT_NEAR(medianOf(errors), 5, 1e-6);
  EXPECT_NEAR(medianOf({errors[0], errors[1]}), 2.515, 1e-6);
  EXPECT_THAT(tableOf(errors), ElementsAre(HasSubstr("true position"), HasSubstr("0.030 m"),
                                           HasSubstr("5.000 m"), HasSubstr("not found")));
  trace.relocalized.clear();
  EXPECT_TRUE(std::isinf(medianOf(errorsOf(trace, truth))));
}

TEST(Canvas, CoversPixelsAsFarAsADrawingReaches) {
  Canvas canvas(9, 9, {255, 255, 255});
  canvas.line(-4, 5, 4, 5, {0, 0, 0}, 2);
  const auto at = [&](std::size_t x, std::size_t y) {
    return static_cast<int>(std::get<0>(canvas.picture().samples)[(y * 9 + x) * 3]);
  };
  EXPECT_EQ(at(0, 5), 0) << "cut off at the picture's edge, not left out";
  EXPECT_EQ(at(2, 4), 128) << "half of it";
  EXPECT_EQ(at(2, 6), 128);
  EXPECT_EQ(at(2, 3), 255);
  EXPECT_EQ(at(5, 5), 128) << "the round end";
  EXPECT_EQ(at(7, 5), 255);

  const auto before = canvas.picture().samples;
  const double nowhere = std::nan("");
  canvas.line(nowhere, 0, 5, 5, {});
  canvas.dot(5, nowhere, 2, {});
  canvas.ring(nowhere, 5, 2, {});
  canvas.line(1e300, 1e300, -1e300, 1e300, {});
  canvas.text(1e6, -1e6, "far off", {});
  EXPECT_EQ(canvas.picture().samples, before);
}

TEST(TopDownPlot, FindsTheMotionBetweenTwoLists) {
  const GroundMotion motion{2.1, 0.5, -3};
  std::vector<TracedAsset> from;
  std::vector<TracedAsset> to;
  for (int i = 0; i < 4; ++i) {
    const double x = i * 0.7;
    const double z = 1.5 - i * i * 0.4;
    const auto [mx, mz] = motion.apply(x, z);
    from.push_back({std::to_string(i), {static_cast<float>(x), 0, static_cast<float>(z)}, 0, 0});
    to.push_back({std::to_string(3 - i), {}, 0, 0});
    to[static_cast<std::size_t>(i)] = {
        std::to_string(i), {static_cast<float>(mx), 0, static_cast<float>(mz)}, 0, 0};
  }
  std::swap(to[0], to[2]);
  const auto found = motionBetween(from, to);
  ASSERT_TRUE(found);
  EXPECT_NEAR(found->angle, 2.1, 1e-5);
  EXPECT_NEAR(found->x, 0.5, 1e-5);
  EXPECT_NEAR(found->z, -3, 1e-5);
  from.resize(1);
  EXPECT_FALSE(motionBetween(from, to));
}

TEST(ServiceOptions, OneServerAnswersForAllUnlessToldOtherwise) {
  ServiceOptions options;
  options.service = "http://127.0.0.1:8000/";
  options.endpoints.tables = "http://127.0.0.1:9000";
  const ServiceEndpoints endpoints = endpointsOf(options);
  EXPECT_EQ(endpoints.production, "http://127.0.0.1:8000/prod/maps");
  EXPECT_EQ(endpoints.beta, "http://127.0.0.1:8000/beta/maps");
  EXPECT_EQ(endpoints.sceneUnderstanding, "http://127.0.0.1:8000/dev/scene-understanding/localize");
  EXPECT_EQ(endpoints.tables, "http://127.0.0.1:9000");
  EXPECT_EQ(endpoints.metrics, "http://127.0.0.1:8000/");
  options.service.clear();
  EXPECT_EQ(endpointsOf(options).metrics, "");
}

TEST(ServiceOptions, LocationsAreDegreesAndMetres) {
  const auto location = parseLocation("47.5,-8.25,408");
  ASSERT_TRUE(location);
  EXPECT_EQ(location->latitude, 47.5);
  EXPECT_EQ(location->longitude, -8.25);
  EXPECT_EQ(location->altitude, 408);
  EXPECT_EQ(parseLocation("1,2")->altitude, 0);
  for (const char* bad : {"", "1", "1,", "91,0", "0,181", "1,2,3,4", "1;2", "nan,0", "1,2 "})
    EXPECT_FALSE(parseLocation(bad)) << bad;
}

}  // namespace
}  // namespace geoloom::tools
