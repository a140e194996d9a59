#pragma once

#include <stdbool.h>
#include <stddef.h>

#include "objc/bridge/Native.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The scripted mapping service of a test in Objective-C, on a clock that the test moves, and the records of
/// the kit's calls. The default answers are those of SessionTest (tests/session).

/// Call before the first session.
void serviceStart(void);
/// Removes the test's folders.
void serviceEnd(void);

/// Sets the answer to all further requests of that name.
void serviceAnswer(const char* name, const char* json);
/// Sets the only row of the table of transforms.
void serviceAnswerTransform(const char* transform);
/// False if fewer than `count` requests of that name arrive in time.
bool serviceWaitForRequests(const char* name, size_t count);
/// The value of a key in the last request of that name, as JSON; the receiver frees it.
char* serviceLastValue(const char* name, const char* key);
/// How often exactly this line was printed ("> ...") or logged ("! ...").
size_t serviceCountOfLine(const char* line);
/// The same for lines with this beginning.
size_t serviceCountOfLinesThatBegin(const char* beginning);

/// Runs one tick of the session's loop.
void serviceTick(const GeoloomNative* session);
/// True if the session has received the answer with the stored assets.
bool serviceHasStoredAssets(const GeoloomNative* session);
/// Waits until the detector is idle.
void serviceWaitForDetector(const GeoloomNative* session);
/// Reports a chair with confidence 0.8125 at (0.1, -0.5, -1.2), 0.9 m high, as the detector does.
void serviceDetectChair(const GeoloomNative* session);
/// Keeps a weak reference to a session.
void serviceRemember(const GeoloomNative* session);
/// serviceDetectChair in the remembered session; false if it has been destroyed.
bool serviceDetectChairInRemembered(void);

/// Throws a std::runtime_error with the text "mine".
void serviceThrow(void);

bool serviceIsOnAssetQueue(const GeoloomNative* session);
bool serviceIsOnDetectorQueue(const GeoloomNative* session);

#ifdef __cplusplus
}
#endif
