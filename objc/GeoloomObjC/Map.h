#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/Unavailable.h>

/// A map near a place, as listed by the mapping service. Created by the kit only.
@interface Map : NSObject {
 @private
  NSString* userID_;
  NSString* mapID_;
  double latitude_;
  double longitude_;
  double altitude_;
  double horizontalAccuracy_;
  double verticalAccuracy_;
}

/// The user who made the map.
@property(nonatomic, copy) NSString* userID;
/// The application's own identifier of the map.
@property(nonatomic, copy) NSString* mapID;
/// Degrees.
@property(nonatomic) double latitude;
@property(nonatomic) double longitude;
/// Metres.
@property(nonatomic) double altitude;
@property(nonatomic) double horizontalAccuracy;
@property(nonatomic) double verticalAccuracy;

- (instancetype)init GEOLOOM_UNAVAILABLE("maps come from listNearbyMapsWithUserID:...");
+ (instancetype)new GEOLOOM_UNAVAILABLE("maps come from listNearbyMapsWithUserID:...");

@end

GEOLOOM_TYPED_ALLOC(Map)
