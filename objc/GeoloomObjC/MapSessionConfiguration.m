#import <GeoloomObjC/MapSessionConfiguration.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Values.h"

@implementation MapSessionConfiguration

- (instancetype)initWithSceneUnderstandingConfidenceThreshold:(float)sceneUnderstandingConfidenceThreshold
                                   featureMatchDistanceMeters:(float)featureMatchDistanceMeters {
  if ((self = [super init]) != nil) {
    native_ = geoloomConfigurationMake(sceneUnderstandingConfidenceThreshold, featureMatchDistanceMeters);
  }
  return self;
}

GEOLOOM_REFUSES_INIT(@"use initWithSceneUnderstandingConfidenceThreshold:featureMatchDistanceMeters:")

- (void)dealloc {
  geoloomRelease(native_);
  [super dealloc];
}

- (GeoloomNative*)geoloomNative {
  return native_;
}

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
