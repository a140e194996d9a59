#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/DetectedObject.h>
#import <GeoloomObjC/Map.h>
#import <GeoloomObjC/MapAsset.h>

#include "objc/bridge/Closures.h"
#include "objc/bridge/Native.h"

/// What the classes share among themselves. Not installed.

/// A class around an object of the kit.
@interface NSObject (GeoloomNative)
/// Borrowed.
- (GeoloomNative*)geoloomNative;
/// Takes the reference over.
- (id)initWithGeoloomNative:(GeoloomNative*)native;
@end

@interface Map (Geoloom)
- (id)initWithValues:(const GeoloomMap*)values;
@end

@interface MapAsset (Geoloom)
- (id)initWithValues:(const GeoloomMapAsset*)values;
/// The text is borrowed until the innermost autorelease pool goes.
- (GeoloomMapAsset)values;
@end

/// Borrowed; NULL unless `object` is of that class.
GeoloomNative* GeoloomNativeOf(id object, Class expected);

/// Borrowed until the innermost autorelease pool goes; absent for nil. Half a surrogate pair, for
/// which UTF-8 has no form, is left out.
GeoloomText GeoloomTextOf(NSString* string);
/// Takes the text over; nil for an absent one.
NSString* GeoloomStringOf(GeoloomText text);
/// Leaves the text alone.
NSString* GeoloomStringCopying(GeoloomText text);

void GeoloomLog(NSString* line);

/// A class around an object of the kit holds its reference in `native_`.
#define GEOLOOM_HOLDS_NATIVE                            \
  -(id)initWithGeoloomNative : (GeoloomNative*)native { \
    self = [super init];                                \
    if (self == nil) {                                  \
      geoloomRelease(native);                           \
      return nil;                                       \
    }                                                   \
    native_ = native;                                   \
    return self;                                        \
  }                                                     \
  -(GeoloomNative*)geoloomNative {                      \
    return native_;                                     \
  }                                                     \
  -(void)dealloc {                                      \
    geoloomRelease(native_);                            \
    [super dealloc];                                    \
  }

/// The `init` and `new` of a class that is not made that way: they raise.
#define GEOLOOM_REFUSES_INIT(instead)                \
  -(instancetype)init {                              \
    return GeoloomRefuseInit(self, instead);         \
  }                                                  \
  +(instancetype) new {                              \
    return GeoloomRefuseInit([self alloc], instead); \
  }
id GeoloomRefuseInit(id self, NSString* instead);

/// A block as a closure of the bridge; absent for NULL.
GeoloomObjectsClosure GeoloomDetectionsClosureOf(const void* block);
GeoloomObjectsClosure GeoloomFrameClosureOf(const void* block);
GeoloomAssetsClosure GeoloomAssetsClosureOf(const void* block);
GeoloomMapsClosure GeoloomMapsClosureOf(const void* block);
GeoloomNumberClosure GeoloomStatusClosureOf(const void* block);
GeoloomNumberClosure GeoloomPlacementClosureOf(const void* block);
