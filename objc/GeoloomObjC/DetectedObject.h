#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/SCNVector3.h>
#import <GeoloomObjC/Unavailable.h>

struct GeoloomNative;

/// A real object that the detector found in a camera frame and placed in the world. Created by the kit only.
@interface DetectedObject : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// Class name, such as "chair".
@property(nonatomic, readonly) NSString* name;
/// Score, 0 to 1.
@property(nonatomic, readonly) float confidence;
/// Centre of the object's bounds: metres, in the coordinates of the AR session.
@property(nonatomic, readonly) SCNVector3 center;
/// Height of the bounds in metres.
@property(nonatomic, readonly) float height;

/// "<name>, <confidence>, <height>", each number with the fewest digits that identify it: "chair, 0.8125,
/// 0.9".
- (NSString*)print;

- (instancetype)init GEOLOOM_UNAVAILABLE("detected objects come from the detections callback");
+ (instancetype)new GEOLOOM_UNAVAILABLE("detected objects come from the detections callback");

@end

GEOLOOM_TYPED_ALLOC(DetectedObject)
