#pragma once

#include "objc/bridge/Native.h"
#include "objc/bridge/Values.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Callbacks in C. `run` is called with `context`, possibly from several threads at once. `release` is called
/// once, after the last call. A closure whose `run` is NULL is absent and has nothing to release.

/// `run` takes ownership of the references.
typedef struct {
  void* context;
  void (*run)(void* context, GeoloomNative* const* objects, size_t count);
  void (*release)(void* context);
} GeoloomObjectsClosure;

/// The values are borrowed during the call of `run`.
typedef struct {
  void* context;
  void (*run)(void* context, const GeoloomMapAsset* assets, size_t count);
  void (*release)(void* context);
} GeoloomAssetsClosure;

typedef struct {
  void* context;
  void (*run)(void* context, const GeoloomMap* maps, size_t count);
  void (*release)(void* context);
} GeoloomMapsClosure;

typedef struct {
  void* context;
  void (*run)(void* context, long number);
  void (*release)(void* context);
} GeoloomNumberClosure;

#ifdef __cplusplus
}
#endif
