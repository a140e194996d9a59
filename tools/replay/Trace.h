#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "geoloom/SceneUnderstanding/locate/BoundingBox3D.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/simd.h"
#include "geoloom/platform/scene/SCNVector3.h"

/// The events of a replay; docs/replay.md describes the JSON form. Times are in seconds since the first
/// frame, positions in metres in the session's coordinates.
namespace geoloom::tools {

struct TracedRecording {
  std::string path;
  std::size_t frames = 0;
  platform::simd_float4x4 sessionFromRecording;
};

struct TracedFrame {
  std::size_t recording = 0;
  std::size_t index = 0;  ///< within its recording
  double time = 0;
  platform::simd_float3 position;
  bool gated = false;     ///< not analysed because the camera had not moved
  bool analysed = false;  ///< neither gated nor dropped
};

struct TracedObject {
  std::string name;
  float confidence = 0;
  platform::SCNVector3 center;
  float height = 0;
};

struct TracedBatch {
  std::size_t frame = 0;  ///< index in Trace::frames
  std::vector<TracedObject> objects;
  std::size_t tracked = 0;  ///< number of objects that were tracked after it
};

struct TracedTrack {
  std::int64_t id = 0;
  std::string name;
  std::int64_t seenFrames = 0;
  BoundingBox3D box;
};

struct TracedAsset {
  std::string id;
  platform::SCNVector3 position;
  float orientation = 0;
  float confidence = 0;
};

/// From the map's coordinates to the session's: a turn by `theta` radians about the vertical, then a shift.
struct TracedTransform {
  platform::SCNVector3 translation;
  float theta = 0;
};

/// One list of relocalized assets. Their orientations are the stored ones: a heading in the session is
/// `orientation + theta`.
struct TracedAssets {
  double time = 0;
  std::vector<TracedAsset> assets;
  std::optional<TracedTransform> transform = {};  ///< absent in traces of earlier versions
};

/// The service's answer to a request to localize the session.
struct TracedLocalization {
  double time = 0;
  std::string reason;          ///< "accepted", or why the session is not localized
  std::size_t matchCount = 0;  ///< paired objects
  std::optional<double> predictedErrorMeters = {};
  std::optional<double> runnerUp = {};    ///< evidence of the second-best pose less that of the best
  std::vector<std::string> objects = {};  ///< what the session sees
  std::vector<std::string> moved = {};
  std::vector<std::string> missing = {};
};

struct TracedStatus {
  double time = 0;
  std::string name;
};

/// Durations of one step, one for each frame.
struct TracedStage {
  std::string name;
  std::vector<double> milliseconds;

  /// The smallest duration that at least the share `p` (0 to 1) of all do not exceed; 0 if there are none.
  [[nodiscard]] double percentile(double p) const;
};

struct Trace {
  std::string mode;
  std::string map;
  std::string mapUUID;
  std::string sessionUUID;
  std::string engine;  ///< of the detection network, with precision and instructions; empty in traces of
                       ///< earlier versions
  std::vector<TracedRecording> recordings;
  std::vector<std::string> problems;
  std::vector<TracedStatus> statuses;
  std::vector<TracedFrame> frames;
  std::vector<TracedBatch> batches;
  std::vector<TracedTrack> tracks;
  std::vector<TracedAsset> placed;
  std::vector<TracedAssets> relocalized;
  std::vector<TracedLocalization> localizations;
  std::size_t unreadable = 0;  ///< frames of the recordings that could not be offered
  std::size_t saved = 0;       ///< rows
  std::size_t notSaved = 0;
  /// What a service failed to do, in one line; empty if none did. Not in the JSON.
  std::string serviceFailure;
  /// The replay was cancelled before its end. Not in the JSON.
  bool isInterrupted = false;
  std::vector<TracedStage> stages;

  [[nodiscard]] std::size_t gated() const;
  [[nodiscard]] std::size_t analysed() const;
  [[nodiscard]] std::size_t dropped() const { return frames.size() - gated() - analysed(); }
};

[[nodiscard]] nlohmann::ordered_json toJSON(const Trace& trace);

/// Reads a trace without its summary.
[[nodiscard]] base::Result<Trace> readTrace(const std::filesystem::path& path);

}  // namespace geoloom::tools
