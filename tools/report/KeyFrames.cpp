#include "tools/report/KeyFrames.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>

#include <fmt/format.h>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/recording/ARRecording.h"

#include "tools/report/Canvas.h"

namespace geoloom::tools {
namespace {

using platform::SCNVector3;

constexpr float leastConfidence = 0.6F;
constexpr std::int64_t leastSeen = 5;
constexpr Ink boxInk{80, 255, 120};
constexpr Ink assetInk{255, 170, 40};

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

/// For every track that was seen well, the batch that was surest of it.
std::map<std::int64_t, std::size_t> bestBatches(const Trace& trace) {
  std::map<std::int64_t, std::pair<float, std::size_t>> best;
  for (std::size_t b = 0; b < trace.batches.size(); ++b) {
    for (const TracedObject& object : trace.batches[b].objects) {
      const TracedTrack* track = object.confidence < leastConfidence ? nullptr : trackOf(trace, object);
      if (track == nullptr) continue;
      auto& [confidence, batch] = best[track->id];
      if (object.confidence > confidence) {
        confidence = object.confidence;
        batch = b;
      }
    }
  }
  std::map<std::int64_t, std::size_t> batches;
  for (const auto& [id, where] : best) batches[id] = where.second;
  return batches;
}

/// The user's picture: the sensor's image turned back, its colours as RGB, twice as large.
class UprightFrame {
 public:
  explicit UprightFrame(const platform::ARFrame& frame)
      : frame_(frame), canvas_(enlarged(*frame.capturedImage())) {}

  [[nodiscard]] Canvas& canvas() { return canvas_; }

  /// Where a point of the world appears; nothing when it is behind the camera.
  [[nodiscard]] std::optional<std::pair<double, double>> project(const SCNVector3& p) const {
    const auto& [right, up, back, translation] = frame_.camera().transform().columns;
    const auto along = [&p, &eye = translation](const platform::simd_float4& axis) {
      return static_cast<double>((p.x - eye.x) * axis.x + (p.y - eye.y) * axis.y + (p.z - eye.z) * axis.z);
    };
    const double depth = -along(back);
    constexpr double nearest = 0.05;
    if (depth < nearest) return std::nullopt;
    const auto& k = frame_.camera().intrinsics().columns;
    const double x = static_cast<double>(k[2].x) + static_cast<double>(k[0].x) * along(right) / depth;
    const double y = static_cast<double>(k[2].y) - static_cast<double>(k[1].y) * along(up) / depth;
    const double width = frame_.camera().imageResolution().height;
    return std::pair{scale * (width - 0.5 - y) - 0.5, scale * (x + 0.5) - 0.5};
  }

  void edge(const SCNVector3& from, const SCNVector3& to, Ink ink) {
    const auto a = project(from);
    const auto b = project(to);
    if (a && b) canvas_.line(a->first, a->second, b->first, b->second, ink, 2);
  }

 private:
  static constexpr std::size_t scale = 2;

  /// Between which two of `count` pixels the enlarged picture's pixel lies, and how far from the first.
  struct Between {
    std::size_t first;
    std::size_t second;
    float share;
  };

  static Between between(std::size_t enlarged, std::size_t count) {
    const float at = (static_cast<float>(enlarged) + 0.5F) / static_cast<float>(scale) - 0.5F;
    const float inside = std::clamp(at, 0.0F, static_cast<float>(count - 1));
    const auto first = static_cast<std::size_t>(inside);
    return {first, std::min(first + 1, count - 1), inside - static_cast<float>(first)};
  }

  static platform::PNGImage enlarged(const platform::CVPixelBuffer& buffer) {
    const platform::PNGImage sensor = platform::makePNGImage(buffer);
    const std::size_t width = sensor.height;
    platform::PNGImage upright{width * scale, sensor.width * scale, 3, {}};
    auto& out = upright.samples.emplace<0>();
    out.reserve(upright.width * upright.height * 3);
    const auto at = [&](std::size_t x, std::size_t y) {
      return &(*sensor.samples8())[((width - 1 - x) * sensor.width + y) * 3];
    };
    for (std::size_t v = 0; v < upright.height; ++v) {
      const Between y = between(v, sensor.width);
      for (std::size_t u = 0; u < upright.width; ++u) {
        const Between x = between(u, width);
        const std::array corners{at(x.first, y.first), at(x.second, y.first), at(x.first, y.second),
                                 at(x.second, y.second)};
        for (std::size_t c = 0; c < 3; ++c) {
          const auto along = [&](const std::uint8_t* left, const std::uint8_t* right) {
            return static_cast<float>(left[c]) * (1 - x.share) + static_cast<float>(right[c]) * x.share;
          };
          const float value =
              along(corners[0], corners[1]) * (1 - y.share) + along(corners[2], corners[3]) * y.share;
          out.push_back(static_cast<std::uint8_t>(std::lround(value)));
        }
      }
    }
    return upright;
  }

  const platform::ARFrame& frame_;
  Canvas canvas_;
};

void drawBox(UprightFrame& picture, const BoundingBox3D& b) {
  const std::array<SCNVector3, 8> corners{{{b.minX, b.minY, b.minZ},
                                           {b.maxX, b.minY, b.minZ},
                                           {b.maxX, b.minY, b.maxZ},
                                           {b.minX, b.minY, b.maxZ},
                                           {b.minX, b.maxY, b.minZ},
                                           {b.maxX, b.maxY, b.minZ},
                                           {b.maxX, b.maxY, b.maxZ},
                                           {b.minX, b.maxY, b.maxZ}}};
  for (std::size_t i = 0; i < 4; ++i) {
    picture.edge(corners[i], corners[(i + 1) % 4], boxInk);
    picture.edge(corners[4 + i], corners[4 + (i + 1) % 4], boxInk);
    picture.edge(corners[i], corners[4 + i], boxInk);
  }
}

/// Writes labels over points of the world, one above the other where they would lie on each other.
class Labels {
 public:
  explicit Labels(UprightFrame& picture) : picture_(picture) {}

  void add(const SCNVector3& at, const std::string& text, Ink ink) {
    constexpr double lineHeight = 24;
    const auto p = picture_.project(at);
    if (!p) return;
    const double x = p->first - Canvas::textWidth(text) / 2;
    double y = p->second - 22;
    const auto isTaken = [&](const std::pair<double, double>& other) {
      return std::abs(other.first - p->first) < Canvas::textWidth(text) &&
             std::abs(other.second - y) < lineHeight;
    };
    const auto below = [&] { return std::find_if(taken_.begin(), taken_.end(), isTaken); };
    for (auto other = below(); other != taken_.end(); other = below()) y = other->second - lineHeight;
    taken_.emplace_back(p->first, y);
    picture_.canvas().text(x, y, text, ink);
  }

 private:
  UprightFrame& picture_;
  std::vector<std::pair<double, double>> taken_;
};

platform::PNGImage drawn(const Trace& trace, const TracedBatch& batch, const platform::ARFrame& frame) {
  UprightFrame picture(frame);
  Labels labels(picture);
  for (const TracedObject& object : batch.objects) {
    const TracedTrack* track = object.confidence < leastConfidence ? nullptr : trackOf(trace, object);
    if (track == nullptr) continue;
    drawBox(picture, track->box);
    const SCNVector3 c = track->box.center();
    labels.add({c.x, track->box.maxY, c.z}, fmt::format("{} {:.2f}", object.name, object.confidence), boxInk);
  }
  if (!trace.relocalized.empty()) {
    for (const TracedAsset& asset : trace.relocalized.back().assets) {
      const auto p = picture.project(asset.position);
      if (!p) continue;
      picture.canvas().cross(p->first, p->second, 8, assetInk);
      labels.add(asset.position, asset.id, assetInk);
    }
  }
  const TracedFrame& f = trace.frames[batch.frame];
  picture.canvas().text(8, 8, fmt::format("{} frame {}  {:.2f} s", trace.mode, f.index, f.time),
                        {255, 255, 255});
  return picture.canvas().picture();
}

}  // namespace

base::Result<std::vector<std::filesystem::path>> writeKeyFrames(const Trace& trace,
                                                                const std::filesystem::path& folder,
                                                                const std::string& prefix) {
  std::vector<std::shared_ptr<ARRecording>> recordings;
  for (const TracedRecording& r : trace.recordings) {
    ARRecordingOptions options;
    if (!recordings.empty()) options.continues = recordings.front();
    const auto recording = ARRecording::open(r.path, options);
    if (!recording) return recording.failure();
    recordings.push_back(*recording);
  }
  std::vector<std::filesystem::path> files;
  for (const auto& [id, b] : bestBatches(trace)) {
    const TracedBatch& batch = trace.batches[b];
    const TracedFrame& f = trace.frames[batch.frame];
    if (f.index >= recordings[f.recording]->frameCount()) continue;
    const auto frame = recordings[f.recording]->frame(f.index);
    if (!frame) continue;
    const auto& track = *std::find_if(trace.tracks.begin(), trace.tracks.end(),
                                      [&, wanted = id](const TracedTrack& t) { return t.id == wanted; });
    files.push_back(folder / fmt::format("{}-{}-{}.png", prefix, id, track.name));
    if (auto failure = platform::writePNG(files.back(), drawn(trace, batch, *frame))) return *failure;
  }
  return files;
}

}  // namespace geoloom::tools
