#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "geoloom/base/ReadFile.h"
#include "geoloom/base/ScopeExit.h"

#include "tools/commands/Commands.h"
#include "tools/commands/Numbers.h"
#include "tools/json/JSONMember.h"
#include "tools/synthetic/RoomGenerator.h"
#include "tools/synthetic/SceneDescription.h"
#include "tools/synthetic/SyntheticWalk.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

struct Options {
  std::string out;
  std::string scene;
  bool isPrinted = false;
  std::string size = "640x480";
  SyntheticWalkOptions walk;
  RoomOptions room;
  bool isOtherRoom = false;
};

SceneDescription readScene(const std::string& path) {
  return valueOf(parseScene(valueOf(base::readFileOrPipe(path, maximumJSONBytes)), path));
}

void readSize(Options& options) {
  constexpr std::size_t MOST = 4096;
  int end = 0;
  const int read =
      std::sscanf(options.size.c_str(), "%4zux%4zu%n", &options.walk.width, &options.walk.height, &end);
  const bool whole = read == 2 && static_cast<std::size_t>(end) == options.size.size();
  if (!whole || options.walk.width < 16 || options.walk.height < 16 || options.walk.width > MOST ||
      options.walk.height > MOST) {
    throw CommandError(ExitCode::usage,
                       fmt::format("--size {}: must be WIDTHxHEIGHT, 16 to {} each", options.size, MOST));
  }
}

/// Removes the files that an interrupted or failed recording has written into a new or empty folder.
void removeContent(const std::filesystem::path& folder) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored))
    std::filesystem::remove_all(entry, ignored);
  std::filesystem::remove(folder, ignored);
}

void record(const SceneDescription& scene, SyntheticWalkOptions options, const std::string& out) {
  std::error_code ignored;
  const bool isNew = !std::filesystem::exists(out, ignored) || std::filesystem::is_empty(out, ignored);
  const Interrupt interrupt;
  options.isCancelled = [] { return Interrupt::signal() != 0; };
  const bool terminal = isatty(STDERR_FILENO) == 1;
  const auto progress = [&](std::size_t done, std::size_t all) {
    if (terminal) fmt::print(stderr, "\r{} of {} frames{}", done, all, done == all ? "\n" : "");
  };
  const auto summary = writeSyntheticWalk(scene, options, out, progress);
  if (!summary && isNew) removeContent(out);
  if (!summary && Interrupt::signal() != 0) throw interruptedBy(Interrupt::signal(), out + " was removed");
  say(fmt::format("{}: walk \"{}\", {}, {:.1f} s, {}", out, options.walk,
                  counted(valueOf(summary).frames, "frame"), summary->seconds,
                  counted(scene.furniture.size() + scene.boards.size(), "object")));
}

void recordSynthetic(Options& options) {
  if (options.out.empty()) throw CommandError(ExitCode::usage, "record synthetic: OUT is missing");
  readSize(options);
  record(readScene(options.scene), options.walk, options.out);
}

void writeRoom(const SceneDescription& scene, const std::filesystem::path& file) {
  std::ofstream stream(file, std::ios::binary);
  stream << toJSON(scene).dump(1) << '\n';
  stream.close();
  if (!stream) throw CommandError(ExitCode::badInput, file.string() + ": cannot be written");
}

void recordRoom(Options& options) {
  const FurnitureCatalogue catalogue = valueOf(FurnitureCatalogue::read(options.walk.sources.furniture));
  const SceneDescription room = valueOf(generateRoom(options.room, catalogue));
  if (options.isPrinted) {
    fmt::print("{}\n", toJSON(room).dump(1));
    return;
  }
  if (options.out.empty()) throw CommandError(ExitCode::usage, "record room: OUT is missing");
  readSize(options);
  SceneDescription second = room;
  if (options.isOtherRoom) {
    RoomOptions other = options.room;
    other.types = typesIn(room);
    other.seed += 1000000;
    second = valueOf(generateRoom(other, catalogue));
  }
  const std::filesystem::path out = options.out;
  const base::ScopeExit removeIfEmpty([&out] { ::rmdir(out.c_str()); });
  const unsigned seed = options.walk.seed;
  for (const auto& [name, scene, trembling] :
       {std::tuple{"first", &room, 2 * seed}, {"second", &second, 2 * seed + 1}}) {
    options.walk.walk = name;
    options.walk.seed = trembling;
    record(*scene, options.walk, (out / name).string());
    writeRoom(*scene, out / name / "room.json");
  }
}

void addWalkOptions(CLI::App* command, const std::shared_ptr<Options>& options) {
  command->add_option("OUT", options->out, "folder to write; must not exist yet, or be empty");
  command->add_option("--photos", options->walk.sources.photos, "folder of the photographs")
      ->capture_default_str();
  command->add_option("--furniture", options->walk.sources.furniture, "folder of the furniture")
      ->capture_default_str();
  command->add_option("--rate", options->walk.framesPerSecond, "frames a second")
      ->check(between(1, 120))
      ->capture_default_str();
  command->add_option("--frames", options->walk.frames, "stop after so many frames")->check(between(1, 1e9));
  command->add_option("--size", options->size, "WIDTHxHEIGHT of a picture")->capture_default_str();
}

std::shared_ptr<Options> defaults() {
  auto options = std::make_shared<Options>();
  options->walk.sources = {".deps/photos", ".deps/furniture"};
  options->walk.walk = "first";
  return options;
}

}  // namespace

void addRecordCommand(CLI::App& app) {
  CLI::App* group = app.add_subcommand("record", "Make recordings of walks.");
  group->require_subcommand(1);

  CLI::App* synthetic = group->add_subcommand("synthetic", "Render a walk through a described room.");
  const auto options = defaults();
  addWalkOptions(synthetic, options);
  synthetic->add_option("--scene", options->scene, "room file, such as `record room --print-room` prints")
      ->required();
  synthetic->add_option("--walk", options->walk.walk, "which of the scene's walks")->capture_default_str();
  synthetic->add_option("--seed", options->walk.seed, "how the hand trembles")->capture_default_str();
  synthetic->callback([options] { recordSynthetic(*options); });

  CLI::App* room = group->add_subcommand(
      "room", "Furnish a room by a seed and render two walks through it, OUT/first and OUT/second.");
  const auto furnished = defaults();
  addWalkOptions(room, furnished);
  room->add_flag("--print-room", furnished->isPrinted, "print the room's description and stop");
  room->add_option("--seed", furnished->room.seed, "which room")->capture_default_str();
  room->add_option("--objects", furnished->room.objects, "things in it besides tables, a door and a rug")
      ->check(between(3, 12))
      ->capture_default_str();
  room->add_option("--moved", furnished->room.moved, "things that stand elsewhere in the second walk")
      ->check(between(0, 12));
  room->add_option("--removed", furnished->room.removed, "things that are gone in the second walk")
      ->check(between(0, 12));
  room->add_option("--passers-by", furnished->room.passersBy,
                   "people who go to and fro in the second walk, if there is space")
      ->check(between(0, 3))
      ->capture_default_str();
  room->add_flag("--other-room", furnished->isOtherRoom,
                 "the second walk goes through another room with things of the same classes");
  room->add_option("--drift", furnished->room.driftMetres,
                   "metres by which poses of the second walk drift a minute, with 12 degrees a metre")
      ->check(between(0, 10));
  room->add_option("--seconds", furnished->room.seconds, "of each walk")
      ->check(between(5, 600))
      ->capture_default_str();
  room->callback([furnished] {
    furnished->walk.seed = furnished->room.seed;
    furnished->room.driftDegrees = 12 * furnished->room.driftMetres;
    recordRoom(*furnished);
  });
}

}  // namespace geoloom::tools
