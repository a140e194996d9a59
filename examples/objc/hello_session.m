// A minimal complete application in Objective-C: opens a session and prints the results. Uses blocks.
//
//     hello_session SERVICE DEVELOPER_KEY MAP [map|localize]
//
// SERVICE is the address of a mapping service, such as http://127.0.0.1:8808 for a local one. Run it with
// `map` first, which stores a lamp, then with `localize`, which prints the map's assets once the service has
// computed a transform. It delivers no frames; replay_walk.m reads them from a recording. The detection network
// must be beside the library; the build puts it there after scripts/setup.
#import <GeoloomObjC/GeoloomObjC.h>
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>

static const NSTimeInterval PATIENCE = 30;

// Set on the threads of the callbacks.
static atomic_bool isDone;

static void storeLamp(MapSession* session) {
  MapAsset* lamp = [[[MapAsset alloc] init:@"lamp":SCNVector3Make(0, 1, -2):0] autorelease];
  isDone = ![session storePlacementWithAssets:[NSArray arrayWithObject:lamp]
                                     callback:^(BOOL stored) {
                                       printf("lamp %s\n", stored ? "stored" : "refused");
                                       isDone = true;
                                     }];
}

static void registerCallbacks(MapSession* session) {
  [session
      // On the session's asset queue: the map's assets, in the coordinates of this session.
      registerCallbacksWithAssetsFoundCallback:^(NSArray* assets) {
        for (MapAsset* asset in assets) {
          printf("asset %s at %g, %g, %g\n", [[asset assetID] UTF8String], asset.position.x, asset.position.y,
                 asset.position.z);
        }
        isDone = true;
      }
      // On the main queue, which is in the main thread's run loop.
      statusCallback:^(MapStatus status) {
        printf("status %ld\n", (long)status);
        if (status != MapStatusInitialized) {
          isDone = true;
          return;
        }
        printf("map %s\n", [[session mappingUUID] UTF8String]);
        if (session.mapSessionMode == MapModeMapping) storeLamp(session);
      }
      // On the detector's queue: the objects found in one frame.
      objectDetectedCallback:^(NSArray* objects) {
        for (DetectedObject* object in objects) printf("seen %s\n", [[object print] UTF8String]);
      }];
}

int main(int argc, char** argv) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  if (argc < 4) {
    fprintf(stderr, "usage: hello_session SERVICE DEVELOPER_KEY MAP [map|localize]\n");
    return 2;
  }
  const MapMode mode = argc > 4 && strcmp(argv[4], "localize") == 0 ? MapModeLocalization : MapModeMapping;
  setvbuf(stdout, NULL, _IOLBF, 0);

  // Settings come before the first session. Statuses and answers arrive in this thread's run loop.
  [ServiceEndpoints
      setCurrent:[ServiceEndpoints endpointsWithService:[NSString stringWithUTF8String:argv[1]]]];
  [GeoloomMainQueue handOverToMainRunLoop];

  // Objects with a confidence of at least 0.6 are shared with the service, and objects within half a metre of
  // each other count as the same.
  ARSession* arSession = [ARSession new];
  MapSessionConfiguration* configuration =
      [[MapSessionConfiguration alloc] initWithSceneUnderstandingConfidenceThreshold:0.6F
                                                          featureMatchDistanceMeters:0.5F];
  MapSession* session = [[MapSession alloc] initWithArSession:arSession
                                                      mapMode:mode
                                                       userID:@"hello"
                                                        mapID:[NSString stringWithUTF8String:argv[3]]
                                                 developerKey:[NSString stringWithUTF8String:argv[2]]
                                                 screenHeight:812
                                                  screenWidth:375
                                      mapSessionConfiguration:configuration];
  registerCallbacks(session);
  // On a device the camera's tracker delivers frames to the AR session.
  [arSession setDidUpdateFrame:^(ARFrame* frame) {
    [session updateWithFrame:frame];
  }];

  NSDate* end = [NSDate dateWithTimeIntervalSinceNow:PATIENCE];
  while (!isDone && [end timeIntervalSinceNow] > 0) {
    NSDate* soon = [NSDate dateWithTimeIntervalSinceNow:0.1];
    [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:soon];
  }
  [configuration release];
  [session release];
  [arSession release];
  [pool release];
  return isDone ? 0 : 1;
}
