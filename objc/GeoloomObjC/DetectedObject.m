#import <GeoloomObjC/DetectedObject.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Values.h"

@implementation DetectedObject

- (id)initWithGeoloomNative:(GeoloomNative*)native {
  self = [super init];
  if (self == nil) {
    geoloomRelease(native);
    return nil;
  }
  native_ = native;
  return self;
}

GEOLOOM_REFUSES_INIT(@"detected objects come from the detections callback")

- (void)dealloc {
  geoloomRelease(native_);
  [super dealloc];
}

- (NSString*)name {
  return GeoloomStringOf(geoloomDetectedObjectName(native_));
}

- (float)confidence {
  return geoloomDetectedObjectConfidence(native_);
}

- (SCNVector3)center {
  return geoloomDetectedObjectCenter(native_);
}

- (float)height {
  return geoloomDetectedObjectHeight(native_);
}

- (NSString*)print {
  return GeoloomStringOf(geoloomDetectedObjectPrint(native_));
}

@end
