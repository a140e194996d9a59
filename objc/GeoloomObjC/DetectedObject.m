#import <GeoloomObjC/DetectedObject.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Values.h"

@implementation DetectedObject

GEOLOOM_HOLDS_NATIVE

GEOLOOM_REFUSES_INIT(@"detected objects come from the detections callback")

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
