#pragma once

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/// One reference to an object of the kit. Absent (NULL) wherever a function was not given what it needs;
/// every function here takes that as "do nothing" or answers what stands for nothing. No function here
/// throws.
typedef struct GeoloomNative GeoloomNative;

/// UTF-8 that may hold any character; absent when `bytes` is NULL. What is passed in is borrowed for the
/// call; what comes back is the receiver's, to be freed with free().
typedef struct {
  const char* bytes;
  size_t length;
} GeoloomText;

void geoloomRelease(GeoloomNative* native);

/// One line for the kit's system log.
void geoloomLog(GeoloomText line);

#ifdef __cplusplus
}
#endif
