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
    firstFrame,  ///< the first camera is at the origin and looks along -z; y is up, as on a phone
    recording    ///< the recording's coordinates: its (x, y, z) with z up becomes (x, z, -y) with y up
  };
  Origin origin = Origin::firstFrame;
  /// A recording of the same world whose session this one continues. Its coordinates replace `origin`.
  std::shared_ptr<const ARRecording> continues = nullptr;
  /// Width / height of the upright picture that is cropped from the recorded one; above 0, at most 1.
  double portraitAspect = 3.0 / 4.0;
  /// Largest difference in seconds between the times of a colour image and its depth image or pose.
  double associationTolerance = 0.02;
};

/// A recorded walk: a folder of colour images, depth images and poses in the TUM RGB-D format
/// (docs/recordings.md), read as the frames of a device held upright. Use it on one thread at a time.
class GEOLOOM_EXPORT ARRecording {
 public:
  /// Reads the folder's lists; frame() opens the images. Fails if the folder is not a recording or if no
  /// colour image has both a depth image and a pose.
  [[nodiscard]] static base::Result<std::shared_ptr<ARRecording>> open(
      const std::filesystem::path& folder, const ARRecordingOptions& options = {});
  ~ARRecording();
  ARRecording(const ARRecording&) = delete;
  ARRecording& operator=(const ARRecording&) = delete;

  [[nodiscard]] std::size_t frameCount() const;

  /// Seconds; never decreases from frame to frame. NaN for an index beyond the last frame.
  [[nodiscard]] double timestamp(std::size_t index) const;

  /// Reads a frame. Returns null for an index beyond the last frame, or if one of its images is missing,
  /// damaged or of the wrong format; problems() then has the reason.
  [[nodiscard]] std::shared_ptr<const platform::ARFrame> frame(std::size_t index);

  /// The first readable frame; problems() does not count those before it. If no frame is readable, the
  /// failure names the first unreadable file and the reason.
  [[nodiscard]] base::Result<std::shared_ptr<const platform::ARFrame>> firstReadableFrame();

  /// The transform from the recording's coordinates (with y up, as for Origin::recording) to the frames'.
  [[nodiscard]] const platform::simd_float4x4& sessionFromRecording() const;

  /// Skipped files so far and probable mistakes of the recording, one line each. The line about unreadable
  /// files gives their number and the name and fault of the first.
  [[nodiscard]] std::vector<std::string> problems() const;

 private:
  ARRecording();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace geoloom
