#include "objc/bridge/Recording.h"

#include <memory>
#include <string>
#include <utility>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/recording/ARRecording.h"

#include "objc/bridge/Support.h"

using namespace geoloom;
using bridge::guarded;
using bridge::with;

namespace {

/// Wraps a recording in an object for a reference.
struct Recording final : platform::NSObject {
  explicit Recording(std::shared_ptr<ARRecording> held) : recording(std::move(held)) {}
  std::shared_ptr<ARRecording> recording;
};

}  // namespace

GeoloomNative* geoloomRecordingOpen(GeoloomText folder) {
  return guarded("ARRecording", [&]() -> GeoloomNative* {
    const auto recording = ARRecording::open(bridge::string(folder));
    if (recording) return bridge::reference(std::make_shared<Recording>(*recording));
    platform::SystemLog::log("ARRecording not opened: " + recording.failure().message);
    return nullptr;
  });
}

size_t geoloomRecordingFrameCount(const GeoloomNative* native) {
  return with<Recording>(native, "frameCount", [](const auto& held) { return held.recording->frameCount(); });
}

GeoloomText geoloomRecordingProblems(const GeoloomNative* native) {
  return with<Recording>(native, "problems", [](const auto& held) {
    std::string lines;
    for (const std::string& line : held.recording->problems()) lines += (lines.empty() ? "" : "\n") + line;
    return bridge::copied(lines);
  });
}

double geoloomRecordingTimestamp(const GeoloomNative* native, size_t index) {
  return with<Recording>(
      native, "timestampOfFrame:", [index](const auto& held) { return held.recording->timestamp(index); });
}

GeoloomNative* geoloomRecordingFrame(const GeoloomNative* native, size_t index) {
  return with<Recording>(native, "frameAtIndex:", [index](const auto& held) {
    // References have no constant form; nothing here writes to a frame.
    return bridge::reference(std::const_pointer_cast<platform::ARFrame>(held.recording->frame(index)));
  });
}
