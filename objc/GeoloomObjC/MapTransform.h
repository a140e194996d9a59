#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/SCNVector3.h>

/// The transform from a map's coordinates to those of the AR session: a rotation by θ about the vertical
/// axis, then a translation. A point (x, y, z) of the map lies at
///
///     translation + (cos θ · x + sin θ · z,  y,  -sin θ · x + cos θ · z)
///
/// Seen from above, a positive θ turns counterclockwise, from the x axis towards -z. Immutable.
@interface MapTransform : NSObject {
 @private
  SCNVector3 translation_;
  float rotation_;
}

/// Metres.
@property(nonatomic, readonly) SCNVector3 translation;
/// θ in radians.
@property(nonatomic, readonly) float rotation;

- (instancetype)initWithTranslation:(SCNVector3)translation rotation:(float)rotation;

@end
