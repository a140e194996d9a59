#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/commands/Commands.h"
#include "tools/commands/Numbers.h"
#include "tools/replay/Placements.h"
#include "tools/replay/Trace.h"
#include "tools/report/Errors.h"
#include "tools/report/KeyFrames.h"
#include "tools/report/RoomPlan.h"
#include "tools/report/TopDownPlot.h"
#include "tools/report/Tracking.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

struct Options {
  std::string mapping;
  std::string localization;
  std::string truth;
  std::string pictures;
  double maximumError = std::numeric_limits<double>::infinity();
};

void writePictures(const Options& options, const Trace& mapping, const Trace& localization,
                   const std::optional<Placements>& truth) {
  const std::filesystem::path folder = options.pictures;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error)
    throw CommandError(ExitCode::badInput, folder.string() + ": cannot be created: " + error.message());
  const auto first = valueOf(writeKeyFrames(mapping, folder, "mapping"));
  const auto second = valueOf(writeKeyFrames(localization, folder, "localization"));
  for (const bool tracked : {false, true}) {
    const auto plan = folder / (tracked ? "plan-tracked.png" : "plan.png");
    if (const auto failure = platform::writePNG(plan, topDownPlot(mapping, localization, truth, tracked)))
      throw CommandError(ExitCode::badInput, failure->message);
  }
  say(fmt::format("pictures: {}, plan.png and plan-tracked.png in {}",
                  counted(first.size() + second.size(), "key frame"), folder.string()));
}

Trace readTraceOf(const std::string& mode, const std::string& path) {
  Trace trace = valueOf(readTrace(path));
  if (trace.mode == mode) return trace;
  throw CommandError(
      ExitCode::badInput,
      fmt::format("{}: is the trace of a {} session, not of {}; the trace of the mapping comes "
                  "first, that of the localization second",
                  path, trace.mode, mode));
}

std::vector<TracedAsset> foundIn(const Trace& localization) {
  return localization.relocalized.empty() ? std::vector<TracedAsset>()
                                          : localization.relocalized.back().assets;
}

void printSummary(const Trace& mapping, const Trace& localization) {
  const auto print = [](const Trace& trace, std::size_t assets, const char* became) {
    say(fmt::format("{}: map \"{}\", {}, {} tracked, {} {}", trace.mode, trace.map,
                    counted(trace.frames.size(), "frame"), counted(trace.tracks.size(), "object"),
                    counted(assets, "asset"), became));
  };
  print(mapping, mapping.placed.size(), "placed");
  print(localization, foundIn(localization).size(), "found");
}

/// Prints the objects that a session tracked, compared with the truth.json beside its recording.
void printTracking(const Trace& trace) {
  if (trace.recordings.empty()) return;
  const RoomPlan room = roomPlanOf(trace.recordings.front());
  if (room.things.empty()) return;
  say("");
  say(fmt::format("objects tracked in the {} session:", trace.mode));
  for (const std::string& line : tableOf(trackingOf(trace, room))) say(line);
}

void compare(const Options& options, const Trace& localization, const Placements& truth) {
  const std::vector<AssetError> errors = errorsOf(localization, truth);
  for (const std::string& line : tableOf(errors)) say(line);
  const double median = medianOf(errors);
  if (std::isfinite(median)) say(fmt::format("median error: {:.3f} m", median));
  if (const auto predicted = predictedErrorOf(localization))
    say(fmt::format("predicted error: {:.3f} m", *predicted));
  if (!localization.relocalized.empty())
    say(fmt::format("first assets: {:.1f} s into the walk", localization.relocalized.front().time));
  const bool isAnyFound =
      std::any_of(errors.begin(), errors.end(), [](const AssetError& e) { return e.found.has_value(); });
  if (isAnyFound && median <= options.maximumError) return;
  throw CommandError(ExitCode::notLocalized,
                     !isAnyFound ? options.localization + ": none of the assets was found"
                     : !std::isfinite(median)
                         ? "the walk was not localized: most assets were not found"
                         : fmt::format("the median error is above {} m", options.maximumError));
}

void report(const Options& options) {
  const Trace mapping = readTraceOf("mapping", options.mapping);
  const Trace localization = readTraceOf("localization", options.localization);
  std::optional<Placements> truth;
  if (!options.truth.empty()) {
    truth = valueOf(readPlacements(options.truth));
    if (truth->frame != Placements::Frame::recording || truth->assets.empty()) {
      throw CommandError(ExitCode::badInput, options.truth + ": must hold assets in the \"recording\" frame");
    }
  }
  if (!options.pictures.empty()) writePictures(options, mapping, localization, truth);
  if (truth) {
    printTracking(mapping);
    printTracking(localization);
    say("");
    return compare(options, localization, *truth);
  }
  if (options.pictures.empty()) printSummary(mapping, localization);
  if (localization.relocalized.empty())
    throw CommandError(ExitCode::notLocalized, options.localization + ": no transform was found");
}

}  // namespace

void addReportCommand(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("report", "Compare the replays of a mapping and of a localization session.");
  auto options = std::make_shared<Options>();
  command->add_option("MAPPING", options->mapping, "trace of the mapping session (replay --json)")
      ->required();
  command->add_option("LOCALIZATION", options->localization, "trace of the localization session")->required();
  CLI::Option* truth = command->add_option("--truth", options->truth,
                                           "true positions of the assets; prints the error of each");
  command->add_option("--pictures", options->pictures, "folder for key frames and plans from above");
  command
      ->add_option("--max-error", options->maximumError, "fail when the median error is above this, metres")
      ->check(notNegative())
      ->needs(truth);
  command->callback([options] { report(*options); });
}

}  // namespace geoloom::tools
