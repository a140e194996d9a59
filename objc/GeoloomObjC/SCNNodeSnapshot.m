#import <GeoloomObjC/Private.h>
#import <GeoloomObjC/SCNNodeSnapshot.h>

#include "objc/bridge/Drawing.h"

@implementation SCNNodeSnapshot

GEOLOOM_HOLDS_NATIVE

GEOLOOM_REFUSES_INIT(@"take the snapshot of an SCNScene")

/// Without the texts.
- (GeoloomNode)values {
  GeoloomNode values = geoloomNode(native_);
  free((void*)values.string.bytes);
  free((void*)values.fontName.bytes);
  return values;
}

- (SCNVector3)position {
  return [self values].position;
}

- (SCNVector4)orientation {
  return [self values].orientation;
}

- (SCNVector3)scale {
  return [self values].scale;
}

- (SCNShape)shape {
  return [self values].shape;
}

- (CGFloat)width {
  return [self values].width;
}

- (CGFloat)height {
  return [self values].height;
}

- (CGFloat)length {
  return [self values].length;
}

- (CGFloat)radius {
  return [self values].radius;
}

- (CGFloat)fontSize {
  return [self values].fontSize;
}

- (GeoloomColor)color {
  return [self values].color;
}

- (NSString*)string {
  const GeoloomNode values = geoloomNode(native_);
  free((void*)values.fontName.bytes);
  return GeoloomStringOf(values.string);
}

- (NSString*)fontName {
  const GeoloomNode values = geoloomNode(native_);
  free((void*)values.string.bytes);
  return GeoloomStringOf(values.fontName);
}

- (NSArray*)children {
  return GeoloomArrayOf(geoloomNodeChildren(native_), [SCNNodeSnapshot class]);
}

@end
