#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/simd.h"

namespace geoloom {

namespace platform {
class ARFrame;
}
class ARRecording;

/// How a recording becomes the frames of a session.
struct ARRecordingOptions {
  enum class Origin {
    firstFrame,  ///< as a phone begins: the first camera is the origin and looks along -z seen from above; y
                 ///< is up
    recording    ///< the recording's own coordinates, its z-up (x, y, z) as (x, z, -y)
  };
  Origin origin = Origin::firstFrame;
  /// Another recording of the same world whose session this one goes on with; its coordinates count then.
  std::shared_ptr<const ARRecording> continues = nullptr;
  /// Width to height of the upright picture that is cut out of the recorded one; above 0, at most 1.
  double portraitAspect = 3.0 / 4.0;
  /// Seconds by which a depth image or a pose may miss the time of its colour image.
  double associationTolerance = 0.02;
};

/// A recorded walk: a folder of colour images, depth images and poses in the TUM RGB-D form
/// (docs/recordings.md), read as the frames of a device that is held upright. One thread at a time.
class GEOLOOM_EXPORT ARRecording {
 public:
  /// Reads the folder's lists; images are opened frame by frame. A folder that is no recording is a failure.
  [[nodiscard]] static base::Result<std::shared_ptr<ARRecording>> open(
      const std::filesystem::path& folder, const ARRecordingOptions& options = {});
  ~ARRecording();
  ARRecording(const ARRecording&) = delete;
  ARRecording& operator=(const ARRecording&) = delete;

  [[nodiscard]] std::size_t frameCount() const;

  /// Seconds; they never decrease from frame to frame. NaN where there is no such frame.
  [[nodiscard]] double timestamp(std::size_t index) const;

  /// The frame; nothing where there is none of that index, or when one of its images is missing or damaged
  /// (which is then among the problems).
  [[nodiscard]] std::shared_ptr<const platform::ARFrame> frame(std::size_t index);

  /// From the recording's coordinates, y up, to those of the frames.
  [[nodiscard]] const platform::simd_float4x4& sessionFromRecording() const;

  /// What was skipped so far: one line a kind, with its number and its first case.
  [[nodiscard]] std::vector<std::string> problems() const;

 private:
  ARRecording();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace geoloom
