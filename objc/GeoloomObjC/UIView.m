#import <GeoloomObjC/Private.h>
#import <GeoloomObjC/UIView.h>

#include "objc/bridge/Platform.h"

@implementation UIView

- (instancetype)init {
  return [self initWithFrame:NSZeroRect];
}

- (instancetype)initWithFrame:(NSRect)frame {
  const GeoloomRect rectangle = {frame.origin.x, frame.origin.y, frame.size.width, frame.size.height};
  return [self initWithGeoloomNative:geoloomUIViewMake(rectangle)];
}

- (id)initWithGeoloomNative:(GeoloomNative*)native {
  self = [super init];
  if (self == nil) {
    geoloomRelease(native);
    return nil;
  }
  native_ = native;
  return self;
}

- (void)dealloc {
  geoloomRelease(native_);
  [super dealloc];
}

- (GeoloomNative*)geoloomNative {
  return native_;
}

- (NSRect)frame {
  const GeoloomRect frame = geoloomUIViewFrame(native_);
  return NSMakeRect(frame.x, frame.y, frame.width, frame.height);
}

@end
