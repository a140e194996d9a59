#import <GeoloomObjC/ARSCNView.h>
#import <GeoloomObjC/ARSession.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Drawing.h"
#include "objc/bridge/Platform.h"

@implementation ARSCNView

- (instancetype)init {
  return [self initWithFrame:NSZeroRect];
}

- (instancetype)initWithFrame:(NSRect)frame {
  const GeoloomRect rectangle = {frame.origin.x, frame.origin.y, frame.size.width, frame.size.height};
  return [self initWithGeoloomNative:geoloomARSCNViewMake(rectangle)];
}

- (void)dealloc {
  [session_ release];
  [super dealloc];
}

- (SCNScene*)scene {
  return
      [[(id)[SCNScene alloc] initWithGeoloomNative:geoloomARSCNViewScene([self geoloomNative])] autorelease];
}

- (ARSession*)session {
  return session_;
}

- (void)setSession:(ARSession*)session {
  [session retain];
  [session_ release];
  session_ = session;
  geoloomARSCNViewSetSession([self geoloomNative], GeoloomNativeOf(session, [ARSession class]));
}

@end
