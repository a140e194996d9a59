#include <cstdio>
#include <memory>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "geoloom/platform/foundation/Log.h"

#include "tools/commands/Commands.h"
#include "tools/commands/JSONFile.h"
#include "tools/commands/Numbers.h"
#include "tools/replay/Replay.h"

namespace geoloom::tools {
namespace {

struct Options {
  ReplayOptions replay;
  std::string mode;
  std::string origin = "first-frame";
  bool quiet = false;
};

void run(Options& options) {
  ReplayOptions& replayed = options.replay;
  replayed.mode = options.mode == "mapping" ? MapMode::mapping : MapMode::localization;
  replayed.recording.origin = options.origin == "recording" ? ARRecordingOptions::Origin::recording
                                                            : ARRecordingOptions::Origin::firstFrame;
  if (options.quiet) platform::SystemLog::setSink([](std::string_view) {});
  apply(replayed.service);
  JSONFile json(replayed.service.json);
  // Called on the session's threads, where nothing may be thrown; main looks whether all was written.
  const auto say = [](const std::string& line) {
    std::fputs((line + '\n').c_str(), stdout);
    std::fflush(stdout);
  };
  const Trace trace = replay(replayed, say);
  for (const std::string& line : summaryOf(trace)) say(line);
  json.write(toJSON(trace));
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
      ->add_option("RECORDING", replayed.recordings, "folders of recordings, one session through all of them")
      ->required();
  command->add_option("--mode", options->mode, "make a map, or find the way in one that was made before")
      ->required()
      ->check(CLI::IsMember({"mapping", "localization"}));
  command->add_option("--map", replayed.map, "the map's identifier")->required();
  command->add_option("--place", replayed.place, "file of assets to place in the map (JSON)");
  command->add_flag("--lockstep", replayed.lockstep,
                    "as fast as it goes, each frame waiting for the one before; else in real time");
  command->add_option("--origin", options->origin, "where the session's coordinates begin")
      ->check(CLI::IsMember({"first-frame", "recording"}))
      ->capture_default_str();
  command->add_option("--aspect", replayed.recording.portraitAspect, "width to height of the upright picture")
      ->check(between(0.1, 1))
      ->capture_default_str();
  command->add_option("--patience", replayed.patience, "seconds to wait for the service")
      ->check(aboveZero(1e6))
      ->capture_default_str();
  command->add_flag("--quiet", options->quiet, "do not print the kit's own console");
  addServiceOptions(*command, replayed.service);
  addSessionOptions(*command, replayed.service);
  command->callback([options] { run(*options); });
}

}  // namespace geoloom::tools
