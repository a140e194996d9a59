#import <GeoloomObjC/ARFrame.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Platform.h"

@implementation ARFrame

- (instancetype)initWithPixels:(const void*)pixels
                         width:(NSUInteger)width
                        height:(NSUInteger)height
                   bytesPerRow:(NSUInteger)bytesPerRow
                     transform:(const float[16])transform
                    intrinsics:(const float[9])intrinsics
                 featurePoints:(const SCNVector3*)featurePoints
                         count:(NSUInteger)count
                     timestamp:(NSTimeInterval)timestamp {
  if (transform == NULL || intrinsics == NULL || (featurePoints == NULL && count > 0)) {
    GeoloomLog(@"ARFrame not created: it needs a transform, intrinsics and `count` feature points");
    [self release];
    return nil;
  }
  const GeoloomFrame frame = {.pixels = pixels,
                              .width = width,
                              .height = height,
                              .bytesPerRow = bytesPerRow,
                              .transform = transform,
                              .intrinsics = intrinsics,
                              .featurePoints = featurePoints,
                              .featurePointCount = count,
                              .timestamp = timestamp};
  GeoloomNative* native = geoloomARFrameMake(&frame);
  if (native != NULL) return [self initWithGeoloomNative:native];
  GeoloomLog([NSString stringWithFormat:@"ARFrame not created: no image of %lu by %lu BGRA pixels in rows of "
                                        @"%lu bytes",
                                        (unsigned long)width, (unsigned long)height,
                                        (unsigned long)bytesPerRow]);
  [self release];
  return nil;
}

GEOLOOM_HOLDS_NATIVE

GEOLOOM_REFUSES_INIT(@"frames come from an ARSession")

- (NSTimeInterval)timestamp {
  return geoloomARFrameTimestamp(native_);
}

@end
