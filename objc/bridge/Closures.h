#pragma once

#include "objc/bridge/Native.h"
#include "objc/bridge/Values.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Callbacks as C has them. `run` is called with `context`, perhaps from several threads at once and never
/// after `release`, which is called once, when nobody can call any more. A closure whose `run` is NULL is
/// absent, and holds nothing.

/// The receiver takes the references over.
typedef struct {
  void* context;
  void (*run)(void* context, GeoloomNative* const* objects, size_t count);
  void (*release)(void* context);
} GeoloomObjectsClosure;

/// The values are borrowed for the call.
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
