#include "tools/replay/FrameReader.h"

#include <chrono>
#include <utility>

namespace geoloom::tools {

base::Result<Recordings> openRecordings(const std::vector<std::filesystem::path>& folders,
                                        const ARRecordingOptions& options) {
  Recordings recordings;
  for (const auto& folder : folders) {
    ARRecordingOptions how = options;
    if (!recordings.empty()) how.continues = recordings.front();
    auto recording = ARRecording::open(folder, how);
    if (!recording) return recording.failure();
    recordings.push_back(*std::move(recording));
  }
  return recordings;
}

FrameReader::FrameReader(Recordings recordings) : recordings_(std::move(recordings)) {
  fetch();
}

std::optional<FrameReader::Frame> FrameReader::next() {
  std::optional<Frame> frame = next_.get();
  if (frame) fetch();
  return frame;
}

void FrameReader::fetch() {
  next_ = std::async(std::launch::async, [this] { return read(); });
}

std::optional<FrameReader::Frame> FrameReader::read() {
  constexpr double PAUSE_BETWEEN_RECORDINGS = 0.1;
  while (recording_ < recordings_.size() && index_ == recordings_[recording_]->frameCount()) {
    offset_ = time_ + PAUSE_BETWEEN_RECORDINGS;
    index_ = 0;
    ++recording_;
  }
  if (recording_ == recordings_.size()) return std::nullopt;
  ARRecording& recording = *recordings_[recording_];
  time_ = offset_ + recording.timestamp(index_) - recording.timestamp(0);
  const auto start = std::chrono::steady_clock::now();
  Frame result{recording.frame(index_), recording_, index_, time_, 0};
  result.milliseconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  ++index_;
  return result;
}

}  // namespace geoloom::tools
