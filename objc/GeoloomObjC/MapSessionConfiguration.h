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

/// The confidence, 0 to 1, from which a detected object is written to the service's table; all objects are
/// reported. Read once, while the session is constructed.
@property(nonatomic) float sceneUnderstandingConfidenceThreshold;
/// Distance in metres within which the service takes two objects as the same. Read for every localization
/// request.
@property(nonatomic) float featureMatchDistanceMeters;

- (instancetype)initWithSceneUnderstandingConfidenceThreshold:(float)sceneUnderstandingConfidenceThreshold
                                   featureMatchDistanceMeters:(float)featureMatchDistanceMeters;

- (instancetype)
    init GEOLOOM_UNAVAILABLE("use initWithSceneUnderstandingConfidenceThreshold:featureMatchDistanceMeters:");
+ (instancetype)new GEOLOOM_UNAVAILABLE(
    "use initWithSceneUnderstandingConfidenceThreshold:featureMatchDistanceMeters:");

@end

GEOLOOM_TYPED_ALLOC(MapSessionConfiguration)
