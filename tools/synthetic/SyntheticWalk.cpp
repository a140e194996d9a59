#include "tools/synthetic/SyntheticWalk.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
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

constexpr double boardThickness = 0.006;

/// Walls, floor and ceiling, seen from within.
std::vector<Quad> roomQuads(const SceneDescription& scene) {
  const auto plaster = std::make_shared<const Texture>(plasterTexture(scene.seed, {186, 178, 164}));
  const auto tiles = std::make_shared<const Texture>(tileTexture(scene.seed + 1, {150, 140, 128}));
  const auto ceiling = std::make_shared<const Texture>(plainTexture({225, 225, 222}));
  const auto& [w, d, h] = scene.room;
  constexpr double metresPerTexture = 1.8;
  const auto repeat = [](double length) { return static_cast<float>(length / metresPerTexture); };
  const Vector up{0, 0, -h};
  return {
      {{-w / 2, d / 2, h}, {w, 0, 0}, up, plaster, repeat(w), repeat(h), 1.0F},
      {{w / 2, d / 2, h}, {0, -d, 0}, up, plaster, repeat(d), repeat(h), 0.86F},
      {{w / 2, -d / 2, h}, {-w, 0, 0}, up, plaster, repeat(w), repeat(h), 0.95F},
      {{-w / 2, -d / 2, h}, {0, d, 0}, up, plaster, repeat(d), repeat(h), 0.8F},
      {{-w / 2, d / 2, 0}, {w, 0, 0}, {0, -d, 0}, tiles, repeat(w), repeat(d), 0.9F},
      {{-w / 2, -d / 2, h}, {w, 0, 0}, {0, d, 0}, ceiling, 1, 1, 1.0F},
  };
}

/// The photograph, the back of the board and the foot it stands on.
void addBoard(std::vector<Quad>& quads, const Board& board, const platform::PNGImage& photo) {
  const double angle = board.facing * std::numbers::pi / 180;
  const Vector front{std::cos(angle), std::sin(angle), 0};
  const Vector right{-front[1], front[0], 0};
  const double height = board.width * static_cast<double>(photo.height) / static_cast<double>(photo.width);
  const Vector corner = board.centre - (board.width / 2) * right + Vector{0, 0, height / 2};
  const Vector back = corner - boardThickness * front;
  const auto cardboard = std::make_shared<const Texture>(plainTexture({120, 98, 72}));
  const auto wood = std::make_shared<const Texture>(plainTexture({70, 62, 55}));
  quads.push_back({corner, board.width * right, {0, 0, -height}, std::make_shared<const Texture>(photo)});
  quads.push_back({back, board.width * right, {0, 0, -height}, cardboard});
  constexpr double footWidth = 0.05;
  const double lowerEdge = board.centre[2] - height / 2;
  const Vector foot = board.centre - (footWidth / 2) * right - boardThickness * front;
  quads.push_back({{foot[0], foot[1], lowerEdge}, footWidth * right, {0, 0, -lowerEdge}, wood});
}

Result<std::vector<Quad>> sceneQuads(const SceneDescription& scene, const std::filesystem::path& photos) {
  std::vector<Quad> quads = roomQuads(scene);
  for (const Board& board : scene.boards) {
    const Result<platform::PNGImage> photo = platform::readPNG(photos / board.photo);
    if (!photo) return Failure{photo.failure().message + "; scripts/setup fetches the photographs"};
    if (photo->samples8() == nullptr)
      return Failure{(photos / board.photo).string() + ": must have 8 bits a sample"};
    addBoard(quads, board, *photo);
  }
  return quads;
}

/// Time 1 is the start: 0 would look like "no time".
double timeOf(std::size_t frame, double framesPerSecond) {
  return 1 + static_cast<double>(frame) / framesPerSecond;
}

std::string imageName(double time) {
  return fmt::format("{:011.6f}.png", time);
}

/// Renders all views on all cores.
class FrameWriter {
 public:
  FrameWriter(const std::vector<Quad>& quads, const Pinhole& camera, std::filesystem::path folder)
      : quads_(quads), camera_(camera), folder_(std::move(folder)) {}

  std::optional<Failure> write(const std::vector<View>& views, double framesPerSecond,
                               const std::function<void(std::size_t, std::size_t)>& progress) {
    std::vector<std::thread> workers;
    const unsigned count = std::clamp(std::thread::hardware_concurrency(), 1U, 8U);
    for (unsigned i = 0; i < count; ++i) {
      workers.emplace_back([&] {
        for (std::size_t f = next_++; f < views.size(); f = next_++) {
          std::optional<Failure> failure = writeFrame(views[f], imageName(timeOf(f, framesPerSecond)));
          const std::lock_guard lock(mutex_);
          if (failure) failure_ = std::move(failure);
          if (failure_) return;
          progress(++done_, views.size());
        }
      });
    }
    for (std::thread& worker : workers) worker.join();
    return failure_;
  }

 private:
  [[nodiscard]] std::optional<Failure> writeFrame(const View& view, const std::string& name) const {
    constexpr int fast = 1;
    const Rendered rendered = render(quads_, camera_, view);
    if (auto failure = platform::writePNG(folder_ / "rgb" / name, rendered.colours, fast)) return failure;
    return platform::writePNG(folder_ / "depth" / name, rendered.depth, fast);
  }

  const std::vector<Quad>& quads_;
  const Pinhole& camera_;
  const std::filesystem::path folder_;
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
std::string truthOf(const SceneDescription& scene) {
  using nlohmann::ordered_json;
  const auto place = [](const Vector& p) { return ordered_json{{"x", p[0]}, {"y", p[2]}, {"z", -p[1]}}; };
  ordered_json objects = ordered_json::array();
  for (const Board& board : scene.boards) {
    ordered_json object{{"name", board.name}};
    object.update(place(board.centre));
    objects.push_back(object);
  }
  ordered_json assets = ordered_json::array();
  for (const SceneAsset& asset : scene.assets) {
    ordered_json entry{{"id", asset.id}};
    entry.update(place(asset.position));
    entry["orientation"] = asset.orientation;
    assets.push_back(entry);
  }
  return ordered_json{{"version", 1}, {"frame", "recording"}, {"assets", assets}, {"objects", objects}}.dump(
             2) +
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
  const Result<std::vector<Quad>> quads = sceneQuads(scene, options.photos);
  if (!quads) return quads.failure();
  if (auto failure = prepareFolder(folder)) return *failure;

  const CameraPath path(*walk, options.seed);
  const auto wanted = static_cast<std::size_t>(std::floor(path.duration() * options.framesPerSecond)) + 1;
  const std::size_t count = std::min(wanted, options.frames.value_or(wanted));
  std::vector<View> views;
  for (std::size_t f = 0; f < count; ++f)
    views.push_back(path.at(static_cast<double>(f) / options.framesPerSecond));

  Pinhole camera{options.width, options.height, 525.0 * static_cast<double>(options.width) / 640.0,
                 (static_cast<double>(options.width) - 1) / 2, (static_cast<double>(options.height) - 1) / 2};
  if (auto failure = FrameWriter(*quads, camera, folder).write(views, options.framesPerSecond, progress))
    return *failure;

  std::string depths;
  std::string truth;
  const std::string images = listsOf(views, options.framesPerSecond, depths, truth);
  const std::pair<const char*, std::string> files[] = {
      {"rgb.txt", images},
      {"depth.txt", depths},
      {"groundtruth.txt", truth},
      {"calibration.txt", fmt::format("# fx fy cx cy\n{} {} {} {}\n", camera.focal, camera.focal,
                                      camera.centreX, camera.centreY)},
      {"truth.json", truthOf(scene)},
  };
  for (const auto& [name, text] : files) {
    if (auto failure = writeText(folder / name, text)) return *failure;
  }
  return SyntheticWalkSummary{count, static_cast<double>(count - 1) / options.framesPerSecond};
}

}  // namespace geoloom::tools
