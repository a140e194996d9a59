#include "tools/report/KeyFrames.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/recording/ARRecording.h"

#include "tools/report/Drawing.h"

namespace geoloom::tools {
namespace {

using platform::ARFrame;
using platform::SCNVector3;

constexpr float leastConfidence = 0.6F;
constexpr std::int64_t leastSeen = 5;
constexpr std::size_t mostFrames = 8;
constexpr Ink boxInk{0.3, 1, 0.5};
constexpr Ink assetInk{1, 0.65, 0.15};

float distance(const SCNVector3& a, const SCNVector3& b) {
  return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

/// The track that an object of a batch belongs to: the nearest of its name.
const TracedTrack* trackOf(const Trace& trace, const TracedObject& object) {
  constexpr float farthest = 0.5F;
  const TracedTrack* nearest = nullptr;
  for (const TracedTrack& track : trace.tracks) {
    if (track.name != object.name || track.seenFrames < leastSeen) continue;
    if (nearest == nullptr ||
        distance(track.box.center(), object.center) < distance(nearest->box.center(), object.center)) {
      nearest = &track;
    }
  }
  return nearest != nullptr && distance(nearest->box.center(), object.center) < farthest ? nearest : nullptr;
}

const std::vector<TracedAsset>& assetsOf(const Trace& trace) {
  return trace.relocalized.empty() ? trace.placed : trace.relocalized.back().assets;
}

/// Where a point of the world appears in the upright picture, in its pixels; nothing when it is behind the
/// camera. The sensor's image lies on its side: its right is the picture's bottom.
std::optional<Point> project(const ARFrame& frame, const SCNVector3& p) {
  const auto& [right, up, back, eye] = frame.camera().transform().columns;
  const auto along = [&p, &origin = eye](const platform::simd_float4& axis) {
    return static_cast<double>((p.x - origin.x) * axis.x + (p.y - origin.y) * axis.y +
                               (p.z - origin.z) * axis.z);
  };
  constexpr double nearest = 0.05;
  const double depth = -along(back);
  if (depth < nearest) return std::nullopt;
  const auto& k = frame.camera().intrinsics().columns;
  const double x = static_cast<double>(k[2].x) + static_cast<double>(k[0].x) * along(right) / depth;
  const double y = static_cast<double>(k[2].y) - static_cast<double>(k[1].y) * along(up) / depth;
  return Point{frame.camera().imageResolution().height - y, x + 0.5};
}

/// How well an asset at this point is seen, 0 to 1: inside the picture, neither too near nor too far.
double visibility(const ARFrame& frame, const SCNVector3& p) {
  const std::optional<Point> at = project(frame, p);
  if (!at) return 0;
  const double width = frame.camera().imageResolution().height;
  const double height = frame.camera().imageResolution().width;
  const double inset = std::min({at->x / width, 1 - at->x / width, at->y / height, 1 - at->y / height});
  const auto& eye = frame.camera().transform().columns[3];
  const double metres = static_cast<double>(distance(p, {eye.x, eye.y, eye.z}));
  return std::clamp(inset / 0.2, 0.0, 1.0) * std::clamp(metres / 0.8, 0.0, 1.0) *
         std::clamp(6 - metres, 0.0, 1.0);
}

/// What a frame shows, each with how well.
struct Sights {
  std::size_t frame = 0;
  std::map<std::string, double> shown;
};

class Frames {
 public:
  static base::Result<Frames> open(const Trace& trace) {
    Frames frames;
    for (const TracedRecording& r : trace.recordings) {
      ARRecordingOptions options;
      if (!frames.recordings_.empty()) options.continues = frames.recordings_.front();
      const auto recording = ARRecording::open(r.path, options);
      if (!recording) return recording.failure();
      frames.recordings_.push_back(*recording);
    }
    return frames;
  }

  [[nodiscard]] std::shared_ptr<const ARFrame> of(const Trace& trace, std::size_t frame) const {
    const TracedFrame& f = trace.frames[frame];
    return recordings_[f.recording]->frame(f.index);
  }

 private:
  std::vector<std::shared_ptr<ARRecording>> recordings_;
};

/// The objects detected in each frame.
std::vector<std::vector<TracedObject>> objectsOf(const Trace& trace) {
  std::vector<std::vector<TracedObject>> objects(trace.frames.size());
  for (const TracedBatch& batch : trace.batches) objects[batch.frame] = batch.objects;
  return objects;
}

std::vector<Sights> sightsOf(const Trace& trace, const Frames& frames) {
  constexpr double leastVisible = 0.3;
  const auto objects = objectsOf(trace);
  std::vector<Sights> all;
  for (std::size_t f = 0; f < trace.frames.size(); ++f) {
    Sights sights{f, {}};
    for (const TracedObject& object : objects[f]) {
      const TracedTrack* track = object.confidence < leastConfidence ? nullptr : trackOf(trace, object);
      if (track == nullptr) continue;
      double& shown = sights.shown[fmt::format("object {}", track->id)];
      shown = std::max(shown, static_cast<double>(object.confidence));
    }
    if (const auto frame = assetsOf(trace).empty() ? nullptr : frames.of(trace, f)) {
      for (const TracedAsset& asset : assetsOf(trace)) {
        const double seen = visibility(*frame, asset.position);
        if (seen > leastVisible) sights.shown["asset " + asset.id] = 2 * seen;  // assets matter most
      }
    }
    if (!sights.shown.empty()) all.push_back(std::move(sights));
  }
  return all;
}

/// Frame after frame, the one that adds most to what those before show; in the order of time.
std::vector<std::size_t> chosenFrames(const std::vector<Sights>& all) {
  constexpr double leastGain = 0.3;
  std::map<std::string, double> shown;
  std::vector<std::size_t> chosen;
  const auto gainOf = [&shown](const Sights& sights) {
    double gain = 0;
    for (const auto& [what, how] : sights.shown) {
      const auto before = shown.find(what);
      gain += std::max(0.0, how - (before == shown.end() ? 0 : before->second));
    }
    return gain;
  };
  while (chosen.size() < mostFrames && !all.empty()) {
    const auto best = std::max_element(
        all.begin(), all.end(), [&](const Sights& a, const Sights& b) { return gainOf(a) < gainOf(b); });
    if (gainOf(*best) < leastGain) break;
    for (const auto& [what, how] : best->shown) shown[what] = std::max(shown[what], how);
    chosen.push_back(best->frame);
  }
  std::sort(chosen.begin(), chosen.end());
  return chosen;
}

platform::PNGImage upright(const platform::CVPixelBuffer& buffer) {
  const platform::PNGImage sensor = platform::makePNGImage(buffer);
  platform::PNGImage turned{sensor.height, sensor.width, 3, {}};
  auto& out = turned.samples.emplace<0>();
  out.reserve(turned.width * turned.height * 3);
  for (std::size_t y = 0; y < turned.height; ++y) {
    for (std::size_t x = 0; x < turned.width; ++x) {
      const std::uint8_t* sample = &(*sensor.samples8())[((turned.width - 1 - x) * sensor.width + y) * 3];
      out.insert(out.end(), sample, sample + 3);
    }
  }
  return turned;
}

/// A frame being drawn on, enlarged.
class FramePicture {
 public:
  explicit FramePicture(const ARFrame& frame)
      : frame_(frame), drawing_(upright(*frame.capturedImage()), enlargement) {}

  void box(const BoundingBox3D& b) {
    const auto corner = [&b](unsigned i) {
      return SCNVector3{(i & 1U) != 0 ? b.maxX : b.minX, (i & 2U) != 0 ? b.maxY : b.minY,
                        (i & 4U) != 0 ? b.maxZ : b.minZ};
    };
    for (unsigned i = 0; i < 8; ++i) {
      for (const unsigned axis : {1U, 2U, 4U}) {
        if ((i & axis) != 0) continue;
        const auto from = at(corner(i));
        const auto to = at(corner(i | axis));
        if (from && to) drawing_.line({*from, *to}, boxInk, 2);
      }
    }
  }

  void asset(const TracedAsset& asset) {
    const auto p = at(asset.position);
    if (!p) return;
    drawing_.ring(*p, 12, assetInk, 3);
    drawing_.dot(*p, 4, assetInk);
    label(asset.position, asset.id, assetInk);
  }

  /// False when the point is not in the picture.
  bool label(const SCNVector3& p, const std::string& line, Ink ink) {
    const auto point = at(p);
    if (!point || point->x < 0 || point->y < 0 || point->x > drawing_.width() || point->y > drawing_.height())
      return false;
    drawing_.label(*point, line, ink);
    return true;
  }

  [[nodiscard]] Drawing& drawing() { return drawing_; }

 private:
  static constexpr double enlargement = 1.5;

  [[nodiscard]] std::optional<Point> at(const SCNVector3& p) const {
    const std::optional<Point> point = project(frame_, p);
    if (!point) return std::nullopt;
    return Point{enlargement * point->x, enlargement * point->y};
  }

  const ARFrame& frame_;
  Drawing drawing_;
};

platform::PNGImage drawn(const Trace& trace, std::size_t number, const ARFrame& frame) {
  FramePicture picture(frame);
  for (const TracedAsset& asset : assetsOf(trace)) picture.asset(asset);
  std::map<const TracedTrack*, float> recognised;
  const auto objects = objectsOf(trace);
  for (const TracedObject& object : objects[number]) {
    const TracedTrack* track = object.confidence < leastConfidence ? nullptr : trackOf(trace, object);
    if (track != nullptr) recognised[track] = std::max(recognised[track], object.confidence);
  }
  for (const auto& [track, confidence] : recognised) {
    picture.box(track->box);
    const SCNVector3 c = track->box.center();
    const std::string name = fmt::format("{} {:.0f}%", track->name, 100 * confidence);
    if (!picture.label({c.x, track->box.maxY, c.z}, name, boxInk)) picture.label(c, name, boxInk);
  }
  const TracedFrame& f = trace.frames[number];
  picture.drawing().caption(fmt::format(
      "{} at {:.1f} s, frame {}: recognised objects with their tracked boxes (green), assets {} (orange)",
      trace.mode == "mapping" ? "Mapping" : "Localization", f.time, f.index,
      trace.relocalized.empty() ? "as placed" : "where they came back"));
  return picture.drawing().finish();
}

}  // namespace

base::Result<std::vector<std::filesystem::path>> writeKeyFrames(const Trace& trace,
                                                                const std::filesystem::path& folder,
                                                                const std::string& prefix) {
  const base::Result<Frames> frames = Frames::open(trace);
  if (!frames) return frames.failure();
  std::vector<std::filesystem::path> files;
  for (const std::size_t f : chosenFrames(sightsOf(trace, *frames))) {
    const auto frame = frames->of(trace, f);
    if (!frame) continue;
    files.push_back(folder / fmt::format("{}-{}.png", prefix, files.size() + 1));
    if (auto failure = platform::writePNG(files.back(), drawn(trace, f, *frame))) return *failure;
  }
  return files;
}

}  // namespace geoloom::tools
