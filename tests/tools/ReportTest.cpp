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
#include "tools/replay/LocalizationAnswer.h"
#include "tools/replay/Placements.h"
#include "tools/replay/ServiceOptions.h"
#include "tools/replay/Trace.h"
#include "tools/report/Drawing.h"
#include "tools/report/Errors.h"
#include "tools/report/InspectedMap.h"
#include "tools/report/TopDownPlot.h"
#include "tools/report/Tracking.h"

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
  trace.localizations = {{.time = 1, .reason = "too few objects", .objects = {"dog"}},
                         {.time = 2,
                          .reason = "accepted",
                          .matchCount = 3,
                          .predictedErrorMeters = 0.02,
                          .runnerUp = -7.5,
                          .moved = {"chair"},
                          .missing = {"cup"}}};
  trace.stages = {{"vision", {3, 1, 2}}};
  return trace;
}

TEST(Trace, SurvivesARoundTrip) {
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
  EXPECT_EQ(predictedErrorOf(*read), 0.02);
  EXPECT_EQ(read->batches[0].objects[0].confidence, 0.1F);  // bit for bit
}

TEST(LocalizationAnswer, IsOnePlainLine) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"reason": "accepted", "match_count": 5, "predicted_error_meters": 0.018})",
       "localized: 5 objects, about 2 cm"},
      {R"({"reason": "accepted", "match_count": 1, "predicted_error_meters": 0.1, "moved": ["chair"]})",
       "localized: 1 object, about 10 cm; moved: chair"},
      {R"({"reason": "too few objects", "objects": []})",
       "not yet: sees nothing it can name, too little to tell the place by"},
      {R"({"reason": "could be elsewhere too", "objects": ["chair", "oven", "chair"]})",
       "not yet: sees 2 chairs and an oven, which fits another place of this map nearly as well"},
      {R"({"reason": "objects expected here are missing", "objects": ["cup"], "missing": ["bed", "cat"]})",
       "not yet: sees a cup, but not the map's bed, cat"},
      {R"({"reason": "predicted error too large", "objects": ["cup"], "predicted_error_meters": 1.26})",
       "not yet: sees a cup, which leaves the assets uncertain by about 1.3 m"},
      {R"({"reason": "a new one", "objects": ["cup"], "match_count": -1e300})",
       "not yet: sees a cup (a new one)"},
  };
  for (const auto& [answer, line] : cases)
    EXPECT_EQ(sentenceOf(*readLocalization(*platform::JSON::parse(answer)), false), line);
  EXPECT_EQ(sentenceOf({.reason = "poor fit", .objects = {"cup"}}, true),
            "last answer kept: sees a cup, but not at the distances of the map");
  EXPECT_FALSE(readLocalization(*platform::JSON::parse("[]")));
}

TEST(InspectedMap, TellsWhetherToScanOn) {
  const std::string object =
      R"({"objects": [{"name": "cup", "sightings": 9, "x": 1, "y": 2, "z": 3, "spread_meters": 0.02, "ambiguous": true}],
      "assets": [{"id": "lamp", "x": 1, "z": 2}], )";
  const auto lines = [&](const char* rest) {
    const auto map = readInspectedMap(*platform::JSON::parse(object + rest), "service");
    return map ? linesOf(*map) : std::vector{map.failure().message};
  };
  const auto good =
      lines(R"("reason": "accepted", "predicted_error_meters": 0.04, "smallest_set": ["cup", "bed"]})");
  ASSERT_EQ(good.size(), 3U);
  EXPECT_THAT(good[1], HasSubstr("2.0 cm  ambiguous"));
  EXPECT_EQ(good[2],
            "1 object, 1 asset: sessions can be localized, expected error 4 cm; enough to see: cup, bed");
  EXPECT_EQ(lines(R"("reason": "too few objects", "predicted_error_meters": null, "smallest_set": []})")[2],
            "1 object, 1 asset: sessions cannot be localized yet (too few objects); scan on");
  EXPECT_THAT(lines(R"("reason": 1})"), ElementsAre("service: reason must be a text"));
}

TEST(Trace, NamesFaultsOfAFile) {
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

TEST(JSONFile, ReplacesAFileOnlyWhenComplete) {
  const geoloom::test::TemporaryDirectory folder;
  const auto path = folder.write("trace.json", "earlier");
  const auto link = folder.path() / "link";
  std::filesystem::create_symlink(path, link);
  JSONFile file(link);
  EXPECT_EQ(base::contentOf(path), "earlier");
  constexpr auto MODE = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
  std::filesystem::permissions(path, MODE);
  file.write({{"map", "r\xff"}});
  EXPECT_EQ(base::contentOf(path), "{\n \"map\": \"r\uFFFD\"\n}\n");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::filesystem::status(path).permissions(), MODE);
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

TEST(Command, NamesInvalidArgumentsInOneLine) {
  using Arguments = std::vector<std::string>;
  const std::tuple<Arguments, int, const char*> cases[] = {
      {{"nonsense"}, 2, "geoloom: nonsense: there is no such command"},
      {{"nonsense", "--help"}, 2, "geoloom: nonsense: there is no such command"},
      {{"maps", "nonsense"}, 2, "geoloom: nonsense: there is no such command"},
      {{"maps", "near", "nan", "8"}, 2, "LAT: must be from -90 to 90, not nan"},
      {{"maps", "near", "1", "8", "--span", "0"}, 2, "--span: must be above 0 and at most 360, not 0"},
      {{"maps", "near", "1", "8", "--model", "m"}, 2, "--model"},
      {{"record", "synthetic", "w", "--scene", "s", "--frames", "-1"},
       2,
       "--frames: must be from 1 to 1000000000, not -1"},
      {{"record", "synthetic", "w", "--scene", "s", "--rate", "nan"},
       2,
       "--rate: must be from 1 to 120, not nan"},
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

TEST(Command, ReportsAFullStandardOutput) {
  const auto printHelp = [](const char* to) {
    return run({"sh", "-c", std::string("exec \"$0\" help ") + to, GEOLOOM_TEST_COMMAND});
  };
  EXPECT_EQ(printHelp(">&-").code, 0);
  const Ended full = printHelp(">/dev/full");
  EXPECT_EQ(full.code, 3);
  EXPECT_THAT(full.errors, HasSubstr("standard output: cannot be written"));
}

TEST(Report, ExitsByTheAssetsFound) {
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
            "mapping: map \"room\", 3 frames, 1 object tracked, 1 asset placed\n"
            "localization: map \"room\", 3 frames, 1 object tracked, 1 asset found\n");
  EXPECT_THAT(report({localization, mapping}),
              HasSubstr("3: " + localization + ": is the trace of a localiz"));
  EXPECT_THAT(report({mapping, lost}), HasSubstr("5: " + lost + ": no transform was found"));
  EXPECT_THAT(report({mapping, localization, "--truth", elsewhere}), HasSubstr("5: " + localization));
  EXPECT_THAT(said, HasSubstr("not found"));
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

TEST(Placements, MoveIntoTheSession) {
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

// The plan and the table of errors agree, also if each recording has its own coordinates.
TEST(TopDownPlot, TrueAndRelocalizedAssetsShareOneFrame) {
  Trace localization = someTrace();
  localization.recordings[0].sessionFromRecording = heading(0.7, 1, 0.2F, -2);
  const Placements truth{Placements::Frame::recording, {{"lamp", 3, 1, -2, 0}, {"sign", -1, 0.5, 4, 0}}};
  TracedAssets found{1, {}, TracedTransform{{0.3F, 0.1F, 5}, -1.2F}};
  for (const Placement& p : inSession(truth, localization.recordings[0].sessionFromRecording))
    found.assets.push_back(
        {p.id, {static_cast<float>(p.x) + 0.1F, static_cast<float>(p.y), static_cast<float>(p.z)}, 0, 0.5F});
  localization.relocalized = {found};

  const auto toMap = mapFromSession(localization);
  ASSERT_TRUE(toMap);
  const GroundMotion back{-1.2F, 0.3F, 5};
  const auto [x, z] = back.apply(2, 3);
  EXPECT_NEAR(toMap->apply(x, z).first, 2, 1e-6);
  EXPECT_NEAR(toMap->apply(x, z).second, 3, 1e-6);
  const auto errors = errorsOf(localization, truth);
  const auto places = trueAssetsInMap(localization, truth);
  ASSERT_EQ(places.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    const auto& p = found.assets[i].position;
    const auto [mx, mz] = toMap->apply(static_cast<double>(p.x), static_cast<double>(p.z));
    EXPECT_NEAR(std::hypot(mx - places[i].x, mz - places[i].z), errors[i].metres, 1e-5);
    EXPECT_NEAR(static_cast<double>(p.y) - 0.1, places[i].y, 1e-5);
  }
  localization.relocalized.clear();
  EXPECT_TRUE(trueAssetsInMap(localization, truth).empty());
}

TEST(Tracking, AssignsBoxesToTheNearestThing) {
  RoomPlan room;
  room.things = {{"table", "", {{0, -1}, {4, -1}, {4, 1}, {0, 1}}, 0.4, 0.8},
                 {"chair 1", "chair", {{1, -0.5}, {2, -0.5}, {2, 0.5}, {1, 0.5}}, 0.5, 1},
                 {"cup 1", "cup", {{1.9, 0}, {2, 0}, {2, 0.1}, {1.9, 0.1}}, 0.85, 0.1}};
  Trace trace;
  const auto box = [&](const char* name, std::int64_t seen, float x, float y, float z, float height) {
    trace.tracks.push_back(
        {0, name, seen, {x - 0.1F, x + 0.1F, y - height / 2, y + height / 2, z - 0.1F, z + 0.1F}});
  };
  box("chair", 9, 1.5F, 0.5F, 0.3F, 0.9F);
  box("chair", 6, 1.5F, 0.5F, -0.4F, 0.4F);
  box("cup", 7, 2.2F, 0.85F, 0.05F, 0.3F);  // off by less than the reach, over the chair's reach too
  box("vase", 5, 2, 0.85F, 0.05F, 0.3F);
  box("cup", 4, 1.5F, 0, 0, 0.3F);  // not well seen
  box("dog", 5, 1.5F, 0, 2, 0.3F);
  const Tracking tracking = trackingOf(trace, room);
  ASSERT_EQ(tracking.things.size(), 2U) << "the table has no class";
  EXPECT_EQ(tracking.things[0].boxes, 2U);
  EXPECT_NEAR(tracking.things[0].metres, 0.3, 1e-6);
  EXPECT_NEAR(tracking.things[0].heightDifference, -0.1, 1e-6);
  EXPECT_EQ(tracking.things[1].boxes, 1U);
  EXPECT_NEAR(tracking.things[1].metres, 0.25, 1e-6);
  EXPECT_THAT(tracking.things[1].otherNames, ElementsAre("vase"));
  EXPECT_THAT(tracking.elsewhere, ElementsAre("dog"));
}

TEST(Drawing, LabelsDoNotOverlap) {
  // Six labels at one point: if none overlaps another, all their plates are visible.
  const auto darkened = [](std::size_t count) {
    Drawing drawing(400, 300, {1, 1, 1});
    for (std::size_t i = 0; i < count; ++i) drawing.label({5, 150}, "label", {1, 1, 0});
    drawing.label({std::nan(""), 3}, "nowhere", {1, 1, 0});
    drawing.line({{1, 1}, {std::nan(""), 5}}, {}, 9);
    const auto picture = drawing.finish();
    const auto& samples = *picture.samples8();
    std::size_t dark = 0;
    for (std::size_t i = 0; i < std::size_t{400} * 300 * 3; i += 3) dark += samples[i + 2] < 120 ? 1 : 0;
    return static_cast<double>(dark);
  };
  const double one = darkened(1);
  EXPECT_GT(one, 300);
  EXPECT_EQ(darkened(0), 0);
  EXPECT_GT(darkened(6), 5.9 * one);
}

TEST(ServiceOptions, DerivesAddressesFromTheService) {
  ServiceOptions options;
  options.service = "http://127.0.0.1:8000/";
  options.endpoints.tables = "http://127.0.0.1:9000";
  const ServiceEndpoints endpoints = endpointsOf(options);
  EXPECT_EQ(endpoints.production, "http://127.0.0.1:8000/prod/maps");
  EXPECT_EQ(endpoints.beta, "http://127.0.0.1:8000/beta/maps");
  EXPECT_EQ(endpoints.sceneUnderstanding, "http://127.0.0.1:8000/dev/scene-understanding/localize");
  EXPECT_EQ(endpoints.tables, "http://127.0.0.1:9000");
  EXPECT_EQ(endpoints.metrics, "http://127.0.0.1:8000");
  options.service.clear();
  EXPECT_EQ(endpointsOf(options).metrics, "");
}

TEST(ServiceOptions, ReadsLocations) {
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
