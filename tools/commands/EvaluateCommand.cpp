#include <cstddef>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include <fmt/format.h>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/commands/Commands.h"
#include "tools/commands/Numbers.h"
#include "tools/evaluate/Evaluation.h"
#include "tools/evaluate/EvaluationPlot.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

struct Options {
  evaluation::EvaluationOptions evaluation;
  std::string noise;
  std::string plot;
};

evaluation::NoiseModel noiseModel(const std::string& path) {
  std::string text(evaluation::defaultNoiseModel());
  if (!path.empty()) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw CommandError(ExitCode::badInput, path + ": cannot be read");
    text.assign(std::istreambuf_iterator<char>(file), {});
  }
  auto model = evaluation::parseNoiseModel(text, path.empty() ? "noise.json" : path);
  if (!model) throw CommandError(ExitCode::badInput, model.failure().message);
  return *std::move(model);
}

void run(Options& options) {
  options.evaluation.threads = std::max(1U, std::thread::hardware_concurrency());
  const auto results = evaluation::evaluate(noiseModel(options.noise), options.evaluation);
  if (results.empty())
    throw CommandError(ExitCode::usage, options.evaluation.only + ": no condition has a name with this text");
  for (const std::string& line : evaluation::tableOf(results)) say(line);
  if (options.plot.empty()) return;
  if (const auto failure = platform::writePNG(options.plot, evaluation::plotOf(results)))
    throw CommandError(ExitCode::badInput, failure->message);
  say(fmt::format("plot: {}", options.plot));
}

}  // namespace

void addEvaluateCommand(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("evaluate", "Measure the matching over simulated sessions in generated rooms.");
  auto options = std::make_shared<Options>();
  command->add_flag("--holdout", options->evaluation.holdout, "use the rooms that no constant was chosen by");
  command->add_option("--rooms", options->evaluation.rooms, "rooms for each condition")
      ->check(between(1, 10'000))
      ->capture_default_str();
  command->add_option("--sessions", options->evaluation.sessionsPerRoom, "sessions in each room")
      ->check(between(1, 10'000))
      ->capture_default_str();
  command->add_option("--only", options->evaluation.only, "only conditions whose name contains this text");
  command->add_option("--noise", options->noise,
                      "noise model of the detector (JSON) instead of the built-in one");
  command->add_option("--plot", options->plot, "PNG file for a plot of the table");
  command->callback([options] { run(*options); });
}

}  // namespace geoloom::tools
