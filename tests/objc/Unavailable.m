// What an application must not be able to compile: the expression REFUSED. Without REFUSED it compiles.
#import <GeoloomObjC/GeoloomObjC.h>

#ifndef REFUSED
#define REFUSED [[MapAsset alloc] init:@"lamp":SCNVector3Make(0, 0, 0):0]
#endif

id refused(void) {
  return REFUSED;
}
