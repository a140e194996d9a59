#import <GeoloomObjC/ARFrame.h>
#import <GeoloomObjC/ARSession.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Platform.h"

@implementation ARSession

- (instancetype)init {
  if ((self = [super init]) != nil) native_ = geoloomARSessionMake();
  return self;
}

- (void)dealloc {
  geoloomRelease(native_);
  [super dealloc];
}

- (GeoloomNative*)geoloomNative {
  return native_;
}

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
