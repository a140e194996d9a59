#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/Unavailable.h>

struct GeoloomNative;

/// Settings of one session, without defaults. The session keeps the object; both values may be changed from
/// any thread.
@interface MapSessionConfiguration : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// Detected objects with at least this confidence, 0 to 1, are written to the service's table; the callback
/// receives all objects. Read once, while the session is created.
@property(nonatomic) float sceneUnderstandingConfidenceThreshold;
/// Metres within which the service considers two objects the same. Read for every localization request.
@property(nonatomic) float featureMatchDistanceMeters;

- (instancetype)initWithSceneUnderstandingConfidenceThreshold:(float)sceneUnderstandingConfidenceThreshold
                                   featureMatchDistanceMeters:(float)featureMatchDistanceMeters;

- (instancetype)
    init GEOLOOM_UNAVAILABLE("use initWithSceneUnderstandingConfidenceThreshold:featureMatchDistanceMeters:");
+ (instancetype)new GEOLOOM_UNAVAILABLE(
    "use initWithSceneUnderstandingConfidenceThreshold:featureMatchDistanceMeters:");

@end

GEOLOOM_TYPED_ALLOC(MapSessionConfiguration)
