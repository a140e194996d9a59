#import <GeoloomObjC/MapSessionConfiguration.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Values.h"

@implementation MapSessionConfiguration

- (instancetype)initWithSceneUnderstandingConfidenceThreshold:(float)sceneUnderstandingConfidenceThreshold
                                   featureMatchDistanceMeters:(float)featureMatchDistanceMeters {
  return [self initWithGeoloomNative:geoloomConfigurationMake(sceneUnderstandingConfidenceThreshold,
                                                              featureMatchDistanceMeters)];
}

GEOLOOM_REFUSES_INIT(@"use initWithSceneUnderstandingConfidenceThreshold:featureMatchDistanceMeters:")

GEOLOOM_HOLDS_NATIVE

- (float)sceneUnderstandingConfidenceThreshold {
  return geoloomConfigurationThreshold(native_);
}

- (void)setSceneUnderstandingConfidenceThreshold:(float)value {
  geoloomConfigurationSetThreshold(native_, value);
}

- (float)featureMatchDistanceMeters {
  return geoloomConfigurationDistance(native_);
}

- (void)setFeatureMatchDistanceMeters:(float)value {
  geoloomConfigurationSetDistance(native_, value);
}

@end
