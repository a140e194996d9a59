#import <GeoloomObjC/ARFrame.h>
#import <GeoloomObjC/ARSession.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Platform.h"

@implementation ARSession

- (instancetype)init {
  return [self initWithGeoloomNative:geoloomARSessionMake()];
}

GEOLOOM_HOLDS_NATIVE

- (ARFrame*)currentFrame {
  GeoloomNative* frame = geoloomARSessionCurrentFrame(native_);
  return frame == NULL ? nil : [[[ARFrame alloc] initWithGeoloomNative:frame] autorelease];
}

- (void)setDidUpdateFrame:(FrameCallback)didUpdateFrame {
  geoloomARSessionSetDidUpdateFrame(native_, GeoloomFrameClosureOf(didUpdateFrame));
}

- (void)deliverFrame:(ARFrame*)frame {
  geoloomARSessionDeliver(native_, GeoloomNativeOf(frame, [ARFrame class]));
}

@end
