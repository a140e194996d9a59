#include "tools/synthetic/SyntheticWalk.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
#include <memory>
#include <mutex>
#include <numbers>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/synthetic/CameraPath.h"
#include "tools/synthetic/Renderer.h"

namespace geoloom::tools {
namespace {

using base::Failure;
using base::Result;

/// From the room's coordinates to a recording's, both with z up.
class Frame {
 public:
  explicit Frame(const WalkDescription& walk) : Frame(walk.turn * std::numbers::pi / 180, walk.shift) {}
  Frame(double angle, const Vector& shift)
      : angle_(angle), cosine_(std::cos(angle)), sine_(std::sin(angle)), shift_(shift) {}

  [[nodiscard]] double angle() const { return angle_; }
  [[nodiscard]] Vector turned(const Vector& v) const {
    return {cosine_ * v[0] - sine_ * v[1], sine_ * v[0] + cosine_ * v[1], v[2]};
  }
  [[nodiscard]] Vector moved(const Vector& p) const { return turned(p) + shift_; }
  [[nodiscard]] View moved(const View& view) const {
    return {moved(view.position), turned(view.right), turned(view.down), turned(view.forward)};
  }

 private:
  double angle_;
  double cosine_;
  double sine_;
  Vector shift_;
};

/// What a tracker that has drifted since `start` takes a view for.
View drifted(const View& view, const Vector& start, const WalkDescription& walk, double seconds) {
  const double minutes = seconds / 60;
  const Vector away{walk.driftMetres * minutes, 0, 0};
  const Frame turn(walk.driftDegrees * minutes * std::numbers::pi / 180, {});
  return Frame(turn.angle(), start - turn.turned(start) + away).moved(view);
}

/// Sensors measure depth along the axis with noise that grows with its square: the standard deviation that
/// Nguyen, Izadi and Lovell measured (2012) for a structured-light camera.
std::uint16_t measured(float distance, std::uint64_t key, bool isNoisy) {
  constexpr double unitsPerMetre = 5000;
  auto metres = static_cast<double>(distance);
  if (isNoisy && distance > 0) {
    const auto uniform = [&key] {  // splitmix64
      key += 0x9E3779B97F4A7C15U;
      std::uint64_t z = key;
      z = (z ^ z >> 30U) * 0xBF58476D1CE4E5B9U;
      z = (z ^ z >> 27U) * 0x94D049BB133111EBU;
      return static_cast<double>((z ^ z >> 31U) >> 11U) / 9007199254740992.0;
    };
    const double normal = (uniform() + uniform() + uniform() + uniform() - 2) * std::sqrt(3.0);
    const double beyond = std::max(0.0, metres - 0.4);
    metres += normal * (0.0012 + 0.0019 * beyond * beyond);
  }
  const double units = metres * unitsPerMetre;
  return units > 0 && units < 65535 ? static_cast<std::uint16_t>(std::lround(units)) : std::uint16_t{0};
}

/// Time 1 is the start: 0 would look like "no time".
double timeOf(std::size_t frame, double framesPerSecond) {
  return 1 + static_cast<double>(frame) / framesPerSecond;
}

std::string imageName(double time) {
  return fmt::format("{:011.6f}.png", time);
}

/// The people who go to and fro during a walk.
class PassersBy {
 public:
  PassersBy(const WalkDescription& walk, const std::vector<Mesh>& meshes) : walk_(walk) {
    for (const Mesh& mesh : meshes) people_.push_back(std::make_unique<Renderer>(mesh, std::vector<Lamp>{}));
  }

  [[nodiscard]] std::vector<Moving> at(double seconds) const {
    std::vector<Moving> moving;
    for (std::size_t i = 0; i < people_.size(); ++i) {
      const PasserBy& person = walk_.passersBy[i];
      const double phase = std::fmod(seconds / person.seconds, 2);
      const bool isBack = phase > 1;
      const Vector way = person.to - person.from;
      const double heading = std::atan2(way[1], way[0]) * 180 / std::numbers::pi;
      moving.push_back({people_[i].get(), person.from + (isBack ? 2 - phase : phase) * way,
                        isBack ? heading + 180 : heading});
    }
    return moving;
  }

 private:
  const WalkDescription& walk_;
  std::vector<std::unique_ptr<Renderer>> people_;
};

/// Renders all views on all cores.
class FrameWriter {
 public:
  /// Depth has noise if there is a seed for it.
  FrameWriter(const Renderer& renderer, const PassersBy& passersBy, const Pinhole& camera,
              std::filesystem::path folder, std::optional<unsigned> noise)
      : renderer_(renderer),
        passersBy_(passersBy),
        camera_(camera),
        folder_(std::move(folder)),
        noise_(noise) {}

  std::optional<Failure> write(const std::vector<View>& views, double framesPerSecond,
                               const std::function<void(std::size_t, std::size_t)>& progress,
                               const std::function<bool()>& isCancelled) {
    std::vector<std::thread> workers;
    const unsigned count = std::clamp(std::thread::hardware_concurrency(), 1U, 8U);
    for (unsigned i = 0; i < count; ++i) {
      workers.emplace_back([&] {
        for (std::size_t f = next_++; f < views.size(); f = next_++) {
          std::optional<Failure> failure =
              writeFrame(f, views[f], passersBy_.at(static_cast<double>(f) / framesPerSecond),
                         imageName(timeOf(f, framesPerSecond)));
          const std::lock_guard lock(mutex_);
          if (failure) failure_ = std::move(failure);
          if (!failure_ && isCancelled()) failure_ = Failure{"interrupted"};
          if (failure_) return;
          progress(++done_, views.size());
        }
      });
    }
    for (std::thread& worker : workers) worker.join();
    return failure_;
  }

 private:
  [[nodiscard]] std::optional<Failure> writeFrame(std::size_t index, const View& view,
                                                  const std::vector<Moving>& people,
                                                  const std::string& name) const {
    constexpr int fast = 1;
    const Rendered rendered = renderer_.render(camera_, view, people);
    if (auto failure = platform::writePNG(folder_ / "rgb" / name, rendered.colours, fast)) return failure;
    std::vector<std::uint16_t> depth;
    depth.reserve(rendered.distance.size());
    for (const float distance : rendered.distance) {
      const std::uint64_t key =
          std::uint64_t{noise_.value_or(0)} << 56U | std::uint64_t{index} << 32U | depth.size();
      depth.push_back(measured(distance, key, noise_.has_value()));
    }
    return platform::writePNG(folder_ / "depth" / name, {camera_.width, camera_.height, 1, std::move(depth)},
                              fast);
  }

  const Renderer& renderer_;
  const PassersBy& passersBy_;
  const Pinhole& camera_;
  const std::filesystem::path folder_;
  const std::optional<unsigned> noise_;
  std::atomic<std::size_t> next_{0};
  std::mutex mutex_;
  std::size_t done_ = 0;
  std::optional<Failure> failure_;
};

std::string listsOf(const std::vector<View>& views, double framesPerSecond, std::string& depths,
                    std::string& truth) {
  std::string images = "# colour images\n# time file\n";
  depths = "# depth images, 1/5000 m\n# time file\n";
  truth = "# camera poses, z up\n# time tx ty tz qx qy qz qw\n";
  for (std::size_t f = 0; f < views.size(); ++f) {
    const double time = timeOf(f, framesPerSecond);
    images += fmt::format("{:.6f} rgb/{}\n", time, imageName(time));
    depths += fmt::format("{:.6f} depth/{}\n", time, imageName(time));
    const auto& p = views[f].position;
    const std::array<double, 4> q = quaternionOf(views[f]);
    truth += fmt::format("{:.6f} {:.6f} {:.6f} {:.6f} {:.9f} {:.9f} {:.9f} {:.9f}\n", time, p[0], p[1], p[2],
                         q[0], q[1], q[2], q[3]);
  }
  return images;
}

/// Where things really are, in the recording's coordinates with y up; also a placement file.
std::string truthOf(const SceneDescription& scene, const WalkDescription& walk, const RoomMesh& room,
                    const Frame& frame) {
  using nlohmann::ordered_json;
  const auto place = [&](const Vector& inRoom) {
    const Vector p = frame.moved(inRoom);
    return ordered_json{{"x", p[0]}, {"y", p[2]}, {"z", -p[1]}};
  };
  const auto onGround = [&](const Vector& inRoom) {
    const Vector p = frame.moved(inRoom);
    return ordered_json{p[0], -p[1]};
  };
  ordered_json objects = ordered_json::array();
  for (std::size_t i = 0; i < scene.furniture.size(); ++i) {
    const PlacedFurniture& placed = scene.furniture[i];
    const Vector& size = room.furnitureSizes[i];
    ordered_json object{{"name", placed.name}};
    if (!placed.type.empty()) object["class"] = placed.type;
    object.update(place(placed.at + Vector{0, 0, size[1] / 2}));
    object["size"] = size;
    object["turn"] = (placed.facing + 90) * std::numbers::pi / 180 + frame.angle();
    objects.push_back(object);
  }
  for (const Board& board : scene.boards) {
    ordered_json object{{"name", board.name}};
    object.update(place(board.centre));
    objects.push_back(object);
  }
  ordered_json passersBy = ordered_json::array();
  for (std::size_t i = 0; i < walk.passersBy.size(); ++i) {
    const PasserBy& person = walk.passersBy[i];
    passersBy.push_back({{"class", "person"},
                         {"size", room.passersBySizes[i]},
                         {"from", onGround(person.from)},
                         {"to", onGround(person.to)},
                         {"seconds", person.seconds}});
  }
  ordered_json assets = ordered_json::array();
  for (const SceneAsset& asset : scene.assets) {
    ordered_json entry{{"id", asset.id}};
    entry.update(place(asset.position));
    entry["orientation"] = asset.orientation + frame.angle();
    assets.push_back(entry);
  }
  const double w = scene.room[0] / 2;
  const double d = scene.room[1] / 2;
  ordered_json walls = ordered_json::array();
  for (const Vector& corner : {Vector{-w, d, 0}, Vector{w, d, 0}, Vector{w, -d, 0}, Vector{-w, -d, 0}})
    walls.push_back(onGround(corner));
  ordered_json windows = ordered_json::array();
  for (const Window& window : scene.windows) {
    const auto [corner, right, inwards] = placeOf(window, scene.room);
    windows.push_back({onGround(corner), onGround(corner + window.width * right)});
  }
  return ordered_json{{"version", 1},           {"frame", "recording"},
                      {"assets", assets},       {"objects", objects},
                      {"passersBy", passersBy}, {"room", {{"walls", walls}, {"windows", windows}}}}
             .dump(2) +
         "\n";
}

std::optional<Failure> writeText(const std::filesystem::path& path, const std::string& text) {
  std::ofstream stream(path, std::ios::binary);
  stream << text;
  stream.close();
  if (stream) return std::nullopt;
  return Failure{path.string() + ": cannot be written"};
}

std::optional<Failure> prepareFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (std::filesystem::exists(folder, error) && !std::filesystem::is_empty(folder, error)) {
    return Failure{folder.string() + ": is not empty; name a folder that does not exist yet"};
  }
  for (const char* part : {"rgb", "depth"}) {
    std::filesystem::create_directories(folder / part, error);
    if (error) return Failure{(folder / part).string() + ": cannot be made: " + error.message()};
  }
  return std::nullopt;
}

const WalkDescription* findWalk(const SceneDescription& scene, const std::string& name) {
  const auto walk = std::find_if(scene.walks.begin(), scene.walks.end(),
                                 [&](const WalkDescription& w) { return w.name == name; });
  return walk == scene.walks.end() ? nullptr : &*walk;
}

std::string walkNames(const SceneDescription& scene) {
  std::string names;
  for (const WalkDescription& walk : scene.walks) names += (names.empty() ? "" : ", ") + walk.name;
  return names;
}

}  // namespace

Result<SyntheticWalkSummary> writeSyntheticWalk(
    const SceneDescription& scene, const SyntheticWalkOptions& options, const std::filesystem::path& folder,
    const std::function<void(std::size_t, std::size_t)>& progress) {
  const WalkDescription* walk = findWalk(scene, options.walk);
  if (walk == nullptr)
    return Failure{fmt::format("no walk \"{}\"; the scene has: {}", options.walk, walkNames(scene))};
  const SceneDescription there = scene.during(*walk);
  const Result<RoomMesh> room = roomMeshOf(there, *walk, options.sources);
  if (!room) return room.failure();
  if (auto failure = prepareFolder(folder)) return *failure;

  const CameraPath path(*walk, options.seed);
  const auto wanted = static_cast<std::size_t>(std::floor(path.duration() * options.framesPerSecond)) + 1;
  const std::size_t count = std::min(wanted, options.frames.value_or(wanted));
  std::vector<View> views;
  for (std::size_t f = 0; f < count; ++f)
    views.push_back(path.at(static_cast<double>(f) / options.framesPerSecond));

  Pinhole camera{options.width, options.height, 525.0 * static_cast<double>(options.width) / 640.0,
                 (static_cast<double>(options.width) - 1) / 2, (static_cast<double>(options.height) - 1) / 2};
  const Renderer renderer(room->mesh, room->lamps);
  const PassersBy passersBy(*walk, room->passersBy);
  const std::optional<unsigned> noise = scene.isFurnished ? std::optional(options.seed) : std::nullopt;
  if (auto failure = FrameWriter(renderer, passersBy, camera, folder, noise)
                         .write(views, options.framesPerSecond, progress, options.isCancelled))
    return *failure;

  const Frame frame(*walk);
  const Vector start = views.front().position;
  for (std::size_t f = 0; f < count; ++f)
    views[f] = frame.moved(drifted(views[f], start, *walk, static_cast<double>(f) / options.framesPerSecond));

  std::string depths;
  std::string truth;
  const std::string images = listsOf(views, options.framesPerSecond, depths, truth);
  const std::pair<const char*, std::string> files[] = {
      {"rgb.txt", images},
      {"depth.txt", depths},
      {"groundtruth.txt", truth},
      {"calibration.txt", fmt::format("# fx fy cx cy\n{} {} {} {}\n", camera.focal, camera.focal,
                                      camera.centreX, camera.centreY)},
      {"truth.json", truthOf(there, *walk, *room, frame)},
  };
  for (const auto& [name, text] : files) {
    if (auto failure = writeText(folder / name, text)) return *failure;
  }
  return SyntheticWalkSummary{count, static_cast<double>(count - 1) / options.framesPerSecond};
}

}  // namespace geoloom::tools
