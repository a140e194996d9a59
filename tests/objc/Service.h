#pragma once

#include <stdbool.h>
#include <stddef.h>

#include "objc/bridge/Native.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The mapping service of a test in Objective-C, scripted, on a clock that the test moves; and what the kit
/// itself says of where it calls. SessionTest (tests/session) says what is answered unless the test says
/// otherwise.

/// Before the first session.
void serviceStart(void);
/// Takes the test's folders away.
void serviceEnd(void);

/// What every further request of that name is answered.
void serviceAnswer(const char* name, const char* json);
/// The table of transforms holds this one.
void serviceAnswerTransform(const char* transform);
/// False when so many requests of that name do not come.
bool serviceWaitForRequests(const char* name, size_t count);
/// The value of a key in the last request of that name, as JSON; the receiver frees it.
char* serviceLastValue(const char* name, const char* key);
/// How often exactly that line was printed ("> ...") or logged ("! ...").
size_t serviceCountOfLine(const char* line);
/// The same for lines that begin so.
size_t serviceCountOfLinesThatBegin(const char* beginning);

/// Lets a tick of the session's loop begin and end.
void serviceTick(const GeoloomNative* session);
/// True when the service's answer with the stored assets has been taken in.
bool serviceHasStoredAssets(const GeoloomNative* session);
/// Waits until the detector has done what it was given.
void serviceWaitForDetector(const GeoloomNative* session);
/// Reports a chair with confidence 0.8125 at (0.1, -0.5, -1.2), 0.9 m high, as the detector does.
void serviceDetectChair(const GeoloomNative* session);
/// Keeps a session in mind, but not alive.
void serviceRemember(const GeoloomNative* session);
/// The same as above in the session that was remembered; false when it is gone.
bool serviceDetectChairInRemembered(void);

/// Throws a std::runtime_error that says "mine".
void serviceThrow(void);

bool serviceIsOnAssetQueue(const GeoloomNative* session);
bool serviceIsOnDetectorQueue(const GeoloomNative* session);

#ifdef __cplusplus
}
#endif
