#import <GeoloomObjC/MapAsset.h>
#import <GeoloomObjC/Private.h>

static const float PLACED_CONFIDENCE = -1;

@implementation MapAsset

@synthesize assetID = assetID_;
@synthesize position = position_;
@synthesize orientation = orientation_;
@synthesize confidence = confidence_;

- (instancetype)init:(NSString*)assetID:(SCNVector3)position:(float)orientation {
  if ((self = [super init]) != nil) {
    assetID_ = [assetID copy];
    position_ = position;
    orientation_ = orientation;
    confidence_ = PLACED_CONFIDENCE;
  }
  return self;
}

- (id)initWithValues:(const GeoloomMapAsset*)values {
  self = [self init:GeoloomStringCopying(values->assetID):values->position:values->orientation];
  if (self != nil) confidence_ = values->confidence;
  return self;
}

GEOLOOM_REFUSES_INIT(@"use init:::")

- (void)dealloc {
  [assetID_ release];
  [super dealloc];
}

- (GeoloomMapAsset)values {
  const GeoloomMapAsset values = {GeoloomTextOf(assetID_), position_, orientation_, confidence_};
  return values;
}

- (BOOL)isEqual:(id)other {
  if (![other isKindOfClass:[MapAsset class]]) return NO;
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  const GeoloomMapAsset mine = [self values];
  const GeoloomMapAsset theirs = [(MapAsset*)other values];
  const BOOL isEqual = geoloomMapAssetsEqual(&mine, &theirs);
  [pool release];
  return isEqual;
}

- (NSUInteger)hash {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  const GeoloomMapAsset mine = [self values];
  const NSUInteger hash = geoloomMapAssetHash(&mine);
  [pool release];
  return hash;
}

@end
