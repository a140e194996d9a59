#import <GeoloomObjC/Private.h>
#import <GeoloomObjC/UIView.h>

#include "objc/bridge/Drawing.h"
#include "objc/bridge/Platform.h"

@implementation UIView

- (instancetype)init {
  return [self initWithFrame:NSZeroRect];
}

- (instancetype)initWithFrame:(NSRect)frame {
  const GeoloomRect rectangle = {frame.origin.x, frame.origin.y, frame.size.width, frame.size.height};
  return [self initWithGeoloomNative:geoloomUIViewMake(rectangle)];
}

GEOLOOM_HOLDS_NATIVE

- (NSRect)frame {
  const GeoloomRect frame = geoloomUIViewFrame(native_);
  return NSMakeRect(frame.x, frame.y, frame.width, frame.height);
}

- (CALayer*)layer {
  return GeoloomLayerOf(geoloomUIViewLayer(native_));
}

@end
