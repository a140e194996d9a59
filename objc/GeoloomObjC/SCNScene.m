#import <GeoloomObjC/Private.h>
#import <GeoloomObjC/SCNScene.h>

#include "objc/bridge/Drawing.h"

@implementation SCNScene

GEOLOOM_HOLDS_NATIVE

GEOLOOM_REFUSES_INIT(@"take the scene of an ARSCNView")

- (SCNNodeSnapshot*)snapshot {
  return [[(id)[SCNNodeSnapshot alloc] initWithGeoloomNative:geoloomSceneSnapshot(native_)] autorelease];
}

@end
