#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "geoloom/base/Result.h"

#include "tools/synthetic/RoomMesh.h"
#include "tools/synthetic/SceneDescription.h"

namespace geoloom::tools {

struct SyntheticWalkOptions {
  RoomSources sources;
  std::string walk;   ///< name of one of the scene's walks
  unsigned seed = 1;  ///< of the hand's trembling and the depth sensor's noise
  double framesPerSecond = 15;
  std::optional<std::size_t> frames;  ///< at most so many
  std::size_t width = 640;
  std::size_t height = 480;
  /// Asked between two frames, on any thread; true ends the recording with a failure.
  std::function<bool()> isCancelled = [] { return false; };
};

struct SyntheticWalkSummary {
  std::size_t frames = 0;
  double seconds = 0;
};

/// Renders a walk through the scene as a recording (docs/recordings.md) with its truth.json into a folder
/// that does not exist or is empty. `progress` hears the number of frames done and of all; it is called on
/// any thread, one call at a time.
[[nodiscard]] base::Result<SyntheticWalkSummary> writeSyntheticWalk(
    const SceneDescription& scene, const SyntheticWalkOptions& options, const std::filesystem::path& folder,
    const std::function<void(std::size_t, std::size_t)>& progress);

}  // namespace geoloom::tools
