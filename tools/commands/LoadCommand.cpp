#include <chrono>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "geoloom/base/OpenFiles.h"

#include "tools/commands/Commands.h"
#include "tools/commands/Numbers.h"
#include "tools/load/Load.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

struct Options {
  LoadOptions load{.service = "http://127.0.0.1:8808"};
  int ramp = 5;
  int seconds = 30;
};

void run(Options& options) {
  options.load.ramp = std::chrono::seconds(options.ramp);
  options.load.duration = std::chrono::seconds(options.seconds);
  base::allowManyOpenFiles();
  const auto result = runLoad(options.load, complain);
  if (!result) throw CommandError(ExitCode::service, result.failure().message);
  say(fmt::format("{} of {} sessions opened; measured for {:.0f} s, in ms from when a request was due",
                  result->sessions, options.load.sessions, result->seconds));
  say(fmt::format("{:<10} {:>9} {:>9} {:>8} {:>8} {:>8}", "operation", "requests", "a second", "errors",
                  "p50", "p99"));
  for (const OperationLoad& operation : result->operations) {
    const double rate = static_cast<double>(operation.times.size()) / result->seconds;
    say(fmt::format("{:<10} {:>9} {:>9.0f} {:>8} {:>8.2f} {:>8.2f}", operation.name, operation.times.size(),
                    rate, operation.errors, operation.quantile(0.5), operation.quantile(0.99)));
  }
}

}  // namespace

void addLoadCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("load", "Measure a service of this machine under simulated phones.");
  auto options = std::make_shared<Options>();
  command
      ->add_option("--service", options->load.service,
                   "address of the service, plain HTTP without a developer key")
      ->capture_default_str();
  command->add_option("--sessions", options->load.sessions, "localization sessions at the same time")
      ->check(between(1, 100'000))
      ->capture_default_str();
  command->add_option("--rows", options->load.rowsPerSecond, "detections that each session saves a second")
      ->check(between(0, 100))
      ->capture_default_str();
  command->add_option("--ramp", options->ramp, "seconds in which the sessions open")
      ->check(between(0, 3600))
      ->capture_default_str();
  command->add_option("--seconds", options->seconds, "seconds of the measurement after that")
      ->check(between(1, 3600))
      ->capture_default_str();
  command->callback([options] { run(*options); });
}

}  // namespace geoloom::tools
