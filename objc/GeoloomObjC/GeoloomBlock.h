#pragma once

/// Blocks for a compiler without them: the layout of a block, and callbacks made from functions.
///
///     static void onStatus(GeoloomBlock* block, MapStatus status) { ... }
///     static GeoloomBlock statusBlock = GEOLOOM_BLOCK(onStatus);
///     [session registerCallbacksWithAssetsFoundCallback:NULL statusCallback:&statusBlock ...
///
/// Such a block is never copied or released, so make it static. To pass data to the function, make a struct
/// that begins with a GeoloomBlock; the first argument of the function points to it.

#ifdef __cplusplus
extern "C" {
#endif

typedef struct GeoloomBlockDescriptor {
  unsigned long reserved;
  unsigned long size;
} GeoloomBlockDescriptor;

typedef struct GeoloomBlock {
  void* isa;
  int flags;
  int reserved;
  void (*invoke)(void);
  const GeoloomBlockDescriptor* descriptor;
} GeoloomBlock;

extern void* _NSConcreteGlobalBlock[32];
extern const GeoloomBlockDescriptor GeoloomGlobalBlockDescriptor;

#define GEOLOOM_BLOCK_IS_GLOBAL (1 << 28)
#define GEOLOOM_BLOCK(function)                                                     \
  {                                                                                 \
    _NSConcreteGlobalBlock, GEOLOOM_BLOCK_IS_GLOBAL, 0, (void (*)(void))(function), \
        &GeoloomGlobalBlockDescriptor                                               \
  }

#ifdef __cplusplus
}
#endif
