#import <GeoloomObjC/Map.h>
#import <GeoloomObjC/Private.h>

@implementation Map

@synthesize userID = userID_;
@synthesize mapID = mapID_;
@synthesize latitude = latitude_;
@synthesize longitude = longitude_;
@synthesize altitude = altitude_;
@synthesize horizontalAccuracy = horizontalAccuracy_;
@synthesize verticalAccuracy = verticalAccuracy_;

- (id)initWithValues:(const GeoloomMap*)values {
  if ((self = [super init]) != nil) {
    userID_ = [GeoloomStringCopying(values->userID) retain];
    mapID_ = [GeoloomStringCopying(values->mapID) retain];
    latitude_ = values->latitude;
    longitude_ = values->longitude;
    altitude_ = values->altitude;
    horizontalAccuracy_ = values->horizontalAccuracy;
    verticalAccuracy_ = values->verticalAccuracy;
  }
  return self;
}

GEOLOOM_REFUSES_INIT(@"maps come from listNearbyMapsWithUserID:...")

- (void)dealloc {
  [userID_ release];
  [mapID_ release];
  [super dealloc];
}

@end
