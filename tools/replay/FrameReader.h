#pragma once

#include <cstddef>
#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <vector>

#include "geoloom/base/Result.h"
#include "geoloom/recording/ARRecording.h"

namespace geoloom::platform {
class ARFrame;
}

namespace geoloom::tools {

using Recordings = std::vector<std::shared_ptr<ARRecording>>;

/// Opens recordings of one world; all but the first continue in the coordinates of the first.
[[nodiscard]] base::Result<Recordings> openRecordings(const std::vector<std::filesystem::path>& folders,
                                                      const ARRecordingOptions& options);

/// The frames of recordings, one recording after the other. Reads one frame ahead on a thread of its own.
class FrameReader {
 public:
  struct Frame {
    std::shared_ptr<const platform::ARFrame> frame;  ///< null if it cannot be read
    std::size_t recording = 0;
    std::size_t index = 0;    ///< within its recording
    double time = 0;          ///< seconds since the first frame; never decreases
    double milliseconds = 0;  ///< time it took to read
  };

  explicit FrameReader(Recordings recordings);

  /// Absent after the last frame.
  [[nodiscard]] std::optional<Frame> next();

 private:
  void fetch();
  [[nodiscard]] std::optional<Frame> read();

  const Recordings recordings_;
  std::size_t recording_ = 0;
  std::size_t index_ = 0;
  double offset_ = 0;
  double time_ = 0;
  std::future<std::optional<Frame>> next_;
};

}  // namespace geoloom::tools
