// What an application must not be able to compile: each line by itself, chosen by REFUSED. Without REFUSED it
// compiles.
#import <GeoloomObjC/GeoloomObjC.h>

#define SESSION 1
#define CONFIGURATION 2
#define MAP 3
#define ASSET 4
#define OBJECT 5
#define FRAME 6
#define NEW_ASSET 7

id refused(void) {
#if !defined(REFUSED)
  return [[MapAsset alloc] init:@"lamp":SCNVector3Make(0, 0, 0):0];
#elif REFUSED == SESSION
  return [[MapSession alloc] init];
#elif REFUSED == CONFIGURATION
  return [[MapSessionConfiguration alloc] init];
#elif REFUSED == MAP
  return [[Map alloc] init];
#elif REFUSED == ASSET
  return [[MapAsset alloc] init];
#elif REFUSED == OBJECT
  return [[DetectedObject alloc] init];
#elif REFUSED == FRAME
  return [[ARFrame alloc] init];
#elif REFUSED == NEW_ASSET
  return [MapAsset new];
#endif
}
