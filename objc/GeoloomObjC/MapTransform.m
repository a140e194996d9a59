#import <GeoloomObjC/MapTransform.h>

@implementation MapTransform

@synthesize translation = translation_;
@synthesize rotation = rotation_;

- (instancetype)initWithTranslation:(SCNVector3)translation rotation:(float)rotation {
  if ((self = [super init]) != nil) {
    translation_ = translation;
    rotation_ = rotation;
  }
  return self;
}

@end
