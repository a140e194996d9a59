#include <cstdio>
#include <memory>
#include <string>

#include <fmt/format.h>
#include <unistd.h>

#include "geoloom/base/ReadFile.h"

#include "tools/commands/Commands.h"
#include "tools/commands/Numbers.h"
#include "tools/json/JSONMember.h"
#include "tools/synthetic/SceneDescription.h"
#include "tools/synthetic/SyntheticWalk.h"

namespace geoloom::tools {
namespace {

struct Options {
  std::string out;
  std::string scene;
  bool printScene = false;
  std::string size = "640x480";
  SyntheticWalkOptions walk;
};

SceneDescription readScene(const std::string& path) {
  std::string text(defaultScene());
  if (!path.empty()) {
    auto read = base::readFileOrPipe(path, maximumJSONBytes);
    if (!read) throw CommandError(ExitCode::badInput, read.failure().message);
    text = *std::move(read);
  }
  auto scene = parseScene(text, path.empty() ? "the default scene" : path);
  if (!scene) throw CommandError(ExitCode::badInput, scene.failure().message);
  return *std::move(scene);
}

void readSize(Options& options) {
  constexpr std::size_t most = 4096;
  int end = 0;
  const int read =
      std::sscanf(options.size.c_str(), "%4zux%4zu%n", &options.walk.width, &options.walk.height, &end);
  const bool whole = read == 2 && static_cast<std::size_t>(end) == options.size.size();
  if (!whole || options.walk.width < 16 || options.walk.height < 16 || options.walk.width > most ||
      options.walk.height > most) {
    throw CommandError(ExitCode::usage,
                       fmt::format("--size {}: must be WIDTHxHEIGHT, 16 to {} each", options.size, most));
  }
}

void recordSynthetic(Options& options) {
  if (options.printScene) {
    fmt::print("{}", defaultScene());
    return;
  }
  if (options.out.empty()) throw CommandError(ExitCode::usage, "record synthetic: OUT is missing");
  readSize(options);
  const SceneDescription scene = readScene(options.scene);
  const bool terminal = isatty(STDERR_FILENO) == 1;
  const auto progress = [&](std::size_t done, std::size_t all) {
    if (terminal) fmt::print(stderr, "\r{} of {} frames{}", done, all, done == all ? "\n" : "");
  };
  const auto summary = writeSyntheticWalk(scene, options.walk, options.out, progress);
  if (!summary) throw CommandError(ExitCode::badInput, summary.failure().message);
  fmt::print("{}: walk \"{}\", {} frames, {:.1f} s, {} boards\n", options.out, options.walk.walk,
             summary->frames, summary->seconds, scene.boards.size());
}

}  // namespace

void addRecordCommand(CLI::App& app) {
  CLI::App* record = app.add_subcommand("record", "Make recordings of walks.");
  record->require_subcommand(1);
  CLI::App* command = record->add_subcommand(
      "synthetic",
      "Render a walk through a described room: photographs on boards, a camera in an unsteady hand.");
  auto options = std::make_shared<Options>();
  options->walk.photos = ".deps/photos";
  options->walk.walk = "first";
  command->add_option("OUT", options->out, "folder to write; must not exist yet, or be empty");
  command->add_option("--scene", options->scene,
                      "description of the room (JSON); a room of our own without it");
  command->add_flag("--print-scene", options->printScene, "print the description of our own room and stop");
  command->add_option("--photos", options->walk.photos, "folder of the photographs")->capture_default_str();
  command->add_option("--walk", options->walk.walk, "which of the scene's walks")->capture_default_str();
  command->add_option("--seed", options->walk.seed, "how the hand trembles")->capture_default_str();
  command->add_option("--rate", options->walk.framesPerSecond, "frames a second")
      ->check(between(1, 120))
      ->capture_default_str();
  command->add_option("--frames", options->walk.frames, "stop after so many frames")->check(between(1, 1e9));
  command->add_option("--size", options->size, "WIDTHxHEIGHT of a picture")->capture_default_str();
  command->callback([options] { recordSynthetic(*options); });
}

}  // namespace geoloom::tools
