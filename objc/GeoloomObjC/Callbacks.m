// Blocks as closures of the bridge. Every call runs in an autorelease pool of its own, which is made outside
// the
// @try: the exception must outlive what was autoreleased when it is logged, and the pool must be drained
// after it.
#import <GeoloomObjC/ARFrame.h>
#import <GeoloomObjC/GeoloomBlock.h>
#import <GeoloomObjC/Private.h>

static void logException(const char* callback, id exception) {
  GeoloomLog([NSString stringWithFormat:@"exception out of the %s callback: %@", callback, exception]);
}

static void callWithObject(void* block, id argument, const char* callback) {
  @try {
    ((void (*)(void*, id))((GeoloomBlock*)block)->invoke)(block, argument);
  } @catch (id exception) {
    logException(callback, exception);
  }
}

// Lets go of a block, and so of what it captured, whose dealloc may be the application's.
static void releaseBlock(void* block) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  @try {
    _Block_release(block);
  } @catch (id exception) {
    logException("release of a", exception);
  }
  [pool release];
}

static void runDetections(void* block, GeoloomNative* const* references, size_t count) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  NSMutableArray* objects = [NSMutableArray arrayWithCapacity:count];
  for (size_t i = 0; i < count; ++i) {
    [objects addObject:[[[DetectedObject alloc] initWithGeoloomNative:references[i]] autorelease]];
  }
  callWithObject(block, objects, "detections");
  [pool release];
}

static void runFrame(void* block, GeoloomNative* const* references, size_t count) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  for (size_t i = 0; i < count; ++i) {
    callWithObject(block, [[[ARFrame alloc] initWithGeoloomNative:references[i]] autorelease], "frame");
  }
  [pool release];
}

static void runAssets(void* block, const GeoloomMapAsset* values, size_t count) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  NSMutableArray* assets = [NSMutableArray arrayWithCapacity:count];
  for (size_t i = 0; i < count; ++i) {
    [assets addObject:[[(MapAsset*)[MapAsset alloc] initWithValues:&values[i]] autorelease]];
  }
  callWithObject(block, assets, "assets");
  [pool release];
}

static void runMaps(void* block, const GeoloomMap* values, size_t count) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  NSMutableArray* maps = [NSMutableArray arrayWithCapacity:count];
  for (size_t i = 0; i < count; ++i) {
    [maps addObject:[[(Map*)[Map alloc] initWithValues:&values[i]] autorelease]];
  }
  callWithObject(block, maps, "nearby maps");
  [pool release];
}

static void runStatus(void* block, long status) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  @try {
    ((void (*)(void*, NSInteger))((GeoloomBlock*)block)->invoke)(block, status);
  } @catch (id exception) {
    logException("status", exception);
  }
  [pool release];
}

static void runPlacement(void* block, long stored) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  @try {
    ((void (*)(void*, BOOL))((GeoloomBlock*)block)->invoke)(block, stored != 0);
  } @catch (id exception) {
    logException("placement", exception);
  }
  [pool release];
}

#define CLOSURE_OF(name, type, function)                                                      \
  type name(const void* block) {                                                              \
    const type closure = {_Block_copy(block), block == NULL ? NULL : function, releaseBlock}; \
    return closure;                                                                           \
  }

CLOSURE_OF(GeoloomDetectionsClosureOf, GeoloomObjectsClosure, runDetections)
CLOSURE_OF(GeoloomFrameClosureOf, GeoloomObjectsClosure, runFrame)
CLOSURE_OF(GeoloomAssetsClosureOf, GeoloomAssetsClosure, runAssets)
CLOSURE_OF(GeoloomMapsClosureOf, GeoloomMapsClosure, runMaps)
CLOSURE_OF(GeoloomStatusClosureOf, GeoloomNumberClosure, runStatus)
CLOSURE_OF(GeoloomPlacementClosureOf, GeoloomNumberClosure, runPlacement)
