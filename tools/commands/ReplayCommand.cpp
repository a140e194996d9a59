#include <memory>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "geoloom/platform/foundation/Log.h"

#include "tools/commands/Commands.h"
#include "tools/commands/JSONFile.h"
#include "tools/commands/Numbers.h"
#include "tools/replay/Replay.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

struct Options {
  ReplayOptions replay;
  std::string mode;
  std::string origin = "first-frame";
  bool verbose = false;
};

/// The library's own lines go to standard error with --verbose; otherwise they are dropped.
void routeLibraryLines(bool verbose) {
  const platform::LineSink sink = verbose ? platform::LineSink(complain) : [](std::string_view) {};
  platform::Console::setSink(sink);
  platform::SystemLog::setSink(sink);
}

void run(Options& options) {
  ReplayOptions& replayed = options.replay;
  replayed.mode = options.mode == "mapping" ? MapMode::mapping : MapMode::localization;
  replayed.recording.origin = options.origin == "recording" ? ARRecordingOptions::Origin::recording
                                                            : ARRecordingOptions::Origin::firstFrame;
  replayed.isCancelled = [] { return Interrupt::signal() != 0; };
  routeLibraryLines(options.verbose);
  apply(replayed.service);
  JSONFile json(replayed.service.json);
  const Interrupt interrupt;
  const Trace trace = replay(replayed, say);
  for (const std::string& line : summaryOf(trace)) say(line);
  json.write(toJSON(trace));
  if (trace.isInterrupted) throw interruptedBy(Interrupt::signal(), "the result covers the walk so far");
  if (!trace.serviceFailure.empty()) throw CommandError(ExitCode::service, trace.serviceFailure);
  if (replayed.mode == MapMode::localization && trace.relocalized.empty()) {
    throw CommandError(
        ExitCode::notLocalized,
        fmt::format("map \"{}\": no transform within {} s; did the walk show two mapped objects?",
                    replayed.map, replayed.patience));
  }
}

}  // namespace

void addReplayCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("replay", "Take a session through recorded walks.");
  auto options = std::make_shared<Options>();
  ReplayOptions& replayed = options->replay;
  command
      ->add_option("RECORDING", replayed.recordings,
                   "folders of recordings; one session goes through all of them")
      ->required();
  command->add_option("--mode", options->mode, "make a map, or localize in an existing one")
      ->required()
      ->check(CLI::IsMember({"mapping", "localization"}));
  command->add_option("--map", replayed.map, "the map's identifier")->required();
  command->add_option("--place", replayed.place, "file of assets to place in the map (JSON)");
  command->add_flag("--lockstep", replayed.lockstep,
                    "analyse every frame, as fast as possible; without it frames come in real time");
  command->add_option("--patience", replayed.patience, "longest wait for the service, seconds")
      ->check(aboveZero(1e6))
      ->capture_default_str();
  command->add_flag("--verbose", options->verbose, "print the library's own lines on standard error");
  constexpr const char* GROUP = "Recording";
  command->add_option("--origin", options->origin, "origin of the session's coordinates")
      ->check(CLI::IsMember({"first-frame", "recording"}))
      ->capture_default_str()
      ->group(GROUP);
  command->add_option("--aspect", replayed.recording.portraitAspect, "width / height of the upright picture")
      ->check(between(0.1, 1))
      ->capture_default_str()
      ->group(GROUP);
  command
      ->add_option("--tolerance", replayed.recording.associationTolerance,
                   "largest difference between the times of an image and its depth or pose, seconds")
      ->check(notNegative())
      ->capture_default_str()
      ->group(GROUP);
  addServiceOptions(*command, replayed.service);
  addSessionOptions(*command, replayed.service);
  command->callback([options] { run(*options); });
}

}  // namespace geoloom::tools
