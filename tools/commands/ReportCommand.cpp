#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/commands/Commands.h"
#include "tools/replay/Placements.h"
#include "tools/replay/Trace.h"
#include "tools/report/Errors.h"
#include "tools/report/KeyFrames.h"
#include "tools/report/TopDownPlot.h"

namespace geoloom::tools {
namespace {

struct Options {
  std::string mapping;
  std::string localization;
  std::string truth;
  std::string pictures;
  double maximumError = std::numeric_limits<double>::infinity();
};

template <class T>
T valueOf(platform::Result<T> result) {
  if (!result) throw CommandError(ExitCode::badInput, result.failure().message);
  return *std::move(result);
}

void writePictures(const Options& options, const Trace& mapping, const Trace& localization,
                   const std::optional<Placements>& truth) {
  const std::filesystem::path folder = options.pictures;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw CommandError(ExitCode::badInput, folder.string() + ": cannot be made: " + error.message());
  const auto first = valueOf(writeKeyFrames(mapping, folder, "mapping"));
  const auto second = valueOf(writeKeyFrames(localization, folder, "localization"));
  const auto plot = folder / "top-down.png";
  if (const auto failure = platform::writePNG(plot, topDownPlot(mapping, localization, truth))) {
    throw CommandError(ExitCode::badInput, failure->message);
  }
  fmt::print("pictures: {} key frames and {}\n", first.size() + second.size(), plot.string());
}

void report(const Options& options) {
  const Trace mapping = valueOf(readTrace(options.mapping));
  const Trace localization = valueOf(readTrace(options.localization));
  std::optional<Placements> truth;
  if (!options.truth.empty()) {
    truth = valueOf(readPlacements(options.truth));
    if (truth->frame != Placements::Frame::recording || truth->assets.empty()) {
      throw CommandError(ExitCode::badInput, options.truth + ": must hold assets in the \"recording\" frame");
    }
  }
  if (!options.pictures.empty()) writePictures(options, mapping, localization, truth);
  if (!truth) return;
  const std::vector<AssetError> errors = errorsOf(localization, *truth);
  for (const std::string& line : tableOf(errors)) fmt::print("{}\n", line);
  const double median = medianOf(errors);
  if (std::isfinite(median)) fmt::print("median error: {:.3f} m\n", median);
  if (!(median <= options.maximumError)) {
    throw CommandError(ExitCode::notLocalized,
                       std::isfinite(median)
                           ? fmt::format("the median error is above {} m", options.maximumError)
                           : std::string("the walk was not localized: most assets were not found"));
  }
}

}  // namespace

void addReportCommand(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("report", "Show what two replays, of mapping and of localization, came to.");
  auto options = std::make_shared<Options>();
  command->add_option("MAPPING", options->mapping, "trace of the mapping session (replay --json)")
      ->required();
  command->add_option("LOCALIZATION", options->localization, "trace of the localization session")->required();
  command->add_option("--truth", options->truth, "where the assets really are; prints each one's error");
  command->add_option("--pictures", options->pictures, "folder for key frames and the plot from above");
  command->add_option("--max-error", options->maximumError,
                      "fail when the median error is above this, metres");
  command->callback([options] { report(*options); });
}

}  // namespace geoloom::tools
