#pragma once

#include "objc/bridge/Native.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Recorded walks: see geoloom/recording/ARRecording.h.

/// NULL, after a line in the system log with the reason, for a folder that is not a recording.
GeoloomNative* geoloomRecordingOpen(GeoloomText folder);
size_t geoloomRecordingFrameCount(const GeoloomNative* recording);
/// One line for each problem; the receiver frees the text.
GeoloomText geoloomRecordingProblems(const GeoloomNative* recording);
/// NaN for a frame that does not exist.
double geoloomRecordingTimestamp(const GeoloomNative* recording, size_t index);
/// NULL for a frame that does not exist or cannot be read.
GeoloomNative* geoloomRecordingFrame(const GeoloomNative* recording, size_t index);

#ifdef __cplusplus
}
#endif
