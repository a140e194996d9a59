#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/CALayer.h>
#import <GeoloomObjC/DetectedObject.h>
#import <GeoloomObjC/Map.h>
#import <GeoloomObjC/MapAsset.h>

#include "objc/bridge/Closures.h"
#include "objc/bridge/Native.h"

/// Shared by the classes; not installed.

/// A class that wraps an object of the kit.
@interface NSObject (GeoloomNative)
/// Borrowed.
- (GeoloomNative*)geoloomNative;
/// Takes ownership of the reference.
- (id)initWithGeoloomNative:(GeoloomNative*)native;
@end

@interface Map (Geoloom)
- (id)initWithValues:(const GeoloomMap*)values;
@end

@interface MapAsset (Geoloom)
- (id)initWithValues:(const GeoloomMapAsset*)values;
/// The text is borrowed until the innermost autorelease pool is drained.
- (GeoloomMapAsset)values;
@end

/// Borrowed; NULL unless `object` is of that class.
GeoloomNative* GeoloomNativeOf(id object, Class expected);

/// Borrowed until the innermost autorelease pool is drained; absent for nil. Unpaired surrogates, which UTF-8
/// cannot encode, are left out.
GeoloomText GeoloomTextOf(NSString* string);
/// Frees the text; nil for an absent one.
NSString* GeoloomStringOf(GeoloomText text);
/// Does not free the text.
NSString* GeoloomStringCopying(GeoloomText text);

/// Wrappers of class `class`, which take ownership of the references.
NSArray* GeoloomArrayOf(GeoloomObjects objects, Class class);
/// A CALayer, CAShapeLayer or CATextLayer that takes ownership of the reference.
CALayer* GeoloomLayerOf(GeoloomNative* native);

void GeoloomLog(NSString* line);

/// For a class that wraps an object of the kit and has its reference in `native_`.
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

/// `init` and `new` of a class that is not created that way: they raise.
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
