#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/SCNVector3.h>
#import <GeoloomObjC/Unavailable.h>

struct GeoloomNative;

/// A camera image with the tracking state at that moment. Immutable; may be read from any thread.
@interface ARFrame : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// Seconds, increasing from frame to frame.
@property(nonatomic, readonly) NSTimeInterval timestamp;

/// For trackers and players. The pixels are BGRA, 8 bits each, and copied: the sensor's image, landscape for
/// a device held upright, with its top edge at the right of the user's view. `transform` (4 by 4) maps camera
/// to world coordinates, `intrinsics` (3 by 3) are in pixels of the image; both are column-major. In the
/// world y points up; the camera looks along -z. The feature points are points of the world, in metres,
/// located by tracking; they may be NULL. nil, after a line in the system log, for an image without pixels or
/// with rows too short for them, or without a transform or intrinsics.
- (instancetype)initWithPixels:(const void*)pixels
                         width:(NSUInteger)width
                        height:(NSUInteger)height
                   bytesPerRow:(NSUInteger)bytesPerRow
                     transform:(const float[16])transform
                    intrinsics:(const float[9])intrinsics
                 featurePoints:(const SCNVector3*)featurePoints
                         count:(NSUInteger)count
                     timestamp:(NSTimeInterval)timestamp;

- (instancetype)init GEOLOOM_UNAVAILABLE("frames come from an ARSession");
+ (instancetype)new GEOLOOM_UNAVAILABLE("frames come from an ARSession");

@end

GEOLOOM_TYPED_ALLOC(ARFrame)
