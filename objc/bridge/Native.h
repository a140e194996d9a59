#pragma once

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A reference to an object of the kit, or NULL. Every function of the bridge accepts NULL and then does
/// nothing or returns an empty value. No function throws.
typedef struct GeoloomNative GeoloomNative;

/// UTF-8 that may contain any character; absent if `bytes` is NULL. Arguments are borrowed for the call;
/// results belong to the receiver, who frees them with free().
typedef struct {
  const char* bytes;
  size_t length;
} GeoloomText;

/// References in order. The receiver owns each of them and the array, which it frees with free().
typedef struct {
  GeoloomNative** objects;
  size_t count;
} GeoloomObjects;

void geoloomRelease(GeoloomNative* native);

/// Writes one line to the kit's system log.
void geoloomLog(GeoloomText line);

#ifdef __cplusplus
}
#endif
