#import <GeoloomObjC/CALayer.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Drawing.h"

/// Without the text.
static GeoloomLayer valuesOf(CALayer* layer) {
  const GeoloomLayer values = geoloomLayer([layer geoloomNative]);
  free((void*)values.string.bytes);
  return values;
}

CALayer* GeoloomLayerOf(GeoloomNative* native) {
  const GeoloomLayer values = geoloomLayer(native);
  free((void*)values.string.bytes);
  Class class = values.kind == GEOLOOM_SHAPE_LAYER  ? [CAShapeLayer class]
                : values.kind == GEOLOOM_TEXT_LAYER ? [CATextLayer class]
                                                    : [CALayer class];
  return [[[class alloc] initWithGeoloomNative:native] autorelease];
}

@implementation CALayer

GEOLOOM_HOLDS_NATIVE

GEOLOOM_REFUSES_INIT(@"take the layer of a UIView")

- (NSArray*)sublayers {
  const GeoloomObjects layers = geoloomLayerSublayers(native_);
  NSMutableArray* sublayers = [NSMutableArray arrayWithCapacity:layers.count];
  for (size_t i = 0; i < layers.count; ++i) [sublayers addObject:GeoloomLayerOf(layers.objects[i])];
  free(layers.objects);
  return sublayers;
}

- (BOOL)isHidden {
  return valuesOf(self).isHidden;
}

@end

@implementation CAShapeLayer

- (GeoloomColor)fillColor {
  return valuesOf(self).fillColor;
}

- (GeoloomColor)strokeColor {
  return valuesOf(self).strokeColor;
}

- (CGFloat)lineWidth {
  return valuesOf(self).lineWidth;
}

@end

@implementation CATextLayer

- (NSString*)string {
  return GeoloomStringOf(geoloomLayer([self geoloomNative]).string);
}

- (CGFloat)fontSize {
  return valuesOf(self).fontSize;
}

- (GeoloomColor)foregroundColor {
  return valuesOf(self).foregroundColor;
}

@end
