#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/SCNVector3.h>
#import <GeoloomObjC/Unavailable.h>

/// A virtual object of the application in a map.
@interface MapAsset : NSObject {
 @private
  NSString* assetID_;
  SCNVector3 position_;
  float orientation_;
  float confidence_;
}

/// The application's own identifier.
@property(nonatomic, copy) NSString* assetID;
/// Metres, in the coordinates of the AR session.
@property(nonatomic) SCNVector3 position;
/// Radians about the vertical axis, in the coordinates of the session that placed the asset. In an asset from
/// a map this is the stored value: only the position is transformed. For the orientation in this session add
/// the rotation of its `lastTransform` (counterclockwise seen from above).
@property(nonatomic) float orientation;
/// How the position was obtained: -1 for an asset created by the application, 0.5 for a stored asset that was
/// moved into this session's coordinates.
@property(nonatomic) float confidence;

// Without the blanks clang takes the names as parts of the selector, and warns.
// clang-format off
- (instancetype)init:(NSString*)assetID :(SCNVector3)position :(float)orientation;
// clang-format on

/// YES for an asset with the same identifier (composed and decomposed text are equal), position and
/// orientation. The confidence is not compared.
- (BOOL)isEqual:(id)other;
- (NSUInteger)hash;

- (instancetype)init GEOLOOM_UNAVAILABLE("use init:::");
+ (instancetype)new GEOLOOM_UNAVAILABLE("use init:::");

@end

GEOLOOM_TYPED_ALLOC(MapAsset)
