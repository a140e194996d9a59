// Blocks as closures of the bridge.
#import <GeoloomObjC/ARFrame.h>
#import <GeoloomObjC/GeoloomBlock.h>
#import <GeoloomObjC/Private.h>

static void (*invocationOf(void* block))(void) {
  return ((GeoloomBlock*)block)->invoke;
}

// Calls with an autorelease pool. An Objective-C exception is logged; a C++ exception reaches the kit, which
// logs it.
static void guard(const char* callback, void (*call)(void* block, const void* arguments, size_t count),
                  void* block, const void* arguments, size_t count) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  @try {
    call(block, arguments, count);
  } @catch (id exception) {
    GeoloomLog([NSString stringWithFormat:@"exception from the %s callback: %@", callback, exception]);
  } @finally {
    // After logging, since the exception may be in the pool.
    [pool release];
  }
}

static void callDetections(void* block, const void* arguments, size_t count) {
  GeoloomNative* const* references = arguments;
  NSMutableArray* objects = [NSMutableArray arrayWithCapacity:count];
  for (size_t i = 0; i < count; ++i) {
    [objects addObject:[[[DetectedObject alloc] initWithGeoloomNative:references[i]] autorelease]];
  }
  ((void (*)(void*, NSArray*))invocationOf(block))(block, objects);
}

static void callFrame(void* block, const void* arguments, size_t count) {
  GeoloomNative* const* references = arguments;
  for (size_t i = 0; i < count; ++i) {
    ARFrame* frame = [[[ARFrame alloc] initWithGeoloomNative:references[i]] autorelease];
    ((void (*)(void*, ARFrame*))invocationOf(block))(block, frame);
  }
}

static void callAssets(void* block, const void* arguments, size_t count) {
  const GeoloomMapAsset* values = arguments;
  NSMutableArray* assets = [NSMutableArray arrayWithCapacity:count];
  for (size_t i = 0; i < count; ++i) {
    [assets addObject:[[(MapAsset*)[MapAsset alloc] initWithValues:&values[i]] autorelease]];
  }
  ((void (*)(void*, NSArray*))invocationOf(block))(block, assets);
}

static void callMaps(void* block, const void* arguments, size_t count) {
  const GeoloomMap* values = arguments;
  NSMutableArray* maps = [NSMutableArray arrayWithCapacity:count];
  for (size_t i = 0; i < count; ++i) {
    [maps addObject:[[(Map*)[Map alloc] initWithValues:&values[i]] autorelease]];
  }
  ((void (*)(void*, NSArray*))invocationOf(block))(block, maps);
}

static void callStatus(void* block, const void* status, size_t count) {
  ((void (*)(void*, NSInteger))invocationOf(block))(block, *(const long*)status);
}

static void callPlacement(void* block, const void* stored, size_t count) {
  ((void (*)(void*, BOOL))invocationOf(block))(block, *(const long*)stored != 0);
}

// Releases captured objects, whose dealloc may be application code.
static void callRelease(void* block, const void* arguments, size_t count) {
  _Block_release(block);
}

static void runDetections(void* block, GeoloomNative* const* references, size_t count) {
  guard("detections", callDetections, block, references, count);
}

static void runFrame(void* block, GeoloomNative* const* references, size_t count) {
  guard("frame", callFrame, block, references, count);
}

static void runAssets(void* block, const GeoloomMapAsset* values, size_t count) {
  guard("assets", callAssets, block, values, count);
}

static void runMaps(void* block, const GeoloomMap* values, size_t count) {
  guard("nearby maps", callMaps, block, values, count);
}

static void runStatus(void* block, long status) {
  guard("status", callStatus, block, &status, 1);
}

static void runPlacement(void* block, long stored) {
  guard("placement", callPlacement, block, &stored, 1);
}

static void release(void* block) {
  guard("release of a", callRelease, block, NULL, 0);
}

#define CLOSURE_OF(name, type, function)                                                 \
  type name(const void* block) {                                                         \
    const type closure = {_Block_copy(block), block == NULL ? NULL : function, release}; \
    return closure;                                                                      \
  }

CLOSURE_OF(GeoloomDetectionsClosureOf, GeoloomObjectsClosure, runDetections)
CLOSURE_OF(GeoloomFrameClosureOf, GeoloomObjectsClosure, runFrame)
CLOSURE_OF(GeoloomAssetsClosureOf, GeoloomAssetsClosure, runAssets)
CLOSURE_OF(GeoloomMapsClosureOf, GeoloomMapsClosure, runMaps)
CLOSURE_OF(GeoloomStatusClosureOf, GeoloomNumberClosure, runStatus)
CLOSURE_OF(GeoloomPlacementClosureOf, GeoloomNumberClosure, runPlacement)
