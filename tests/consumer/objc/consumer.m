// Opens a session whose services are absent, so that nothing leaves the process, and prints the status of the failure.
#import <GeoloomObjC/GeoloomObjC.h>

#include <stdio.h>

static BOOL isDone = NO;

static void onStatus(GeoloomBlock* block, MapStatus status) {
  printf("status %ld\n", (long)status);
  isDone = YES;
}
static GeoloomBlock statusBlock = GEOLOOM_BLOCK(onStatus);

int main(void) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  [ServiceEndpoints setCurrent:[[ServiceEndpoints new] autorelease]];
  [GeoloomMainQueue handOverToMainRunLoop];
  MapSessionConfiguration* configuration =
      [[MapSessionConfiguration alloc] initWithSceneUnderstandingConfidenceThreshold:0.6F
                                                          featureMatchDistanceMeters:0.5F];
  MapSession* session = [[MapSession alloc] initWithArSession:[[ARSession new] autorelease]
                                                      mapMode:MapModeMapping
                                                       userID:@"ada"
                                                        mapID:@"living room"
                                                 developerKey:@"key"
                                                 screenHeight:812
                                                  screenWidth:375
                                      mapSessionConfiguration:configuration];
  [session registerCallbacksWithAssetsFoundCallback:NULL statusCallback:&statusBlock objectDetectedCallback:NULL];
  NSDate* end = [NSDate dateWithTimeIntervalSinceNow:30];
  while (!isDone && [end timeIntervalSinceNow] > 0) {
    [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.1]];
  }
  [configuration release];
  [session release];
  [pool release];
  return isDone ? 0 : 1;
}
