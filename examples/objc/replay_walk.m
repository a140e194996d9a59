// Passes the frames of a recorded walk to a session, in mapping or localization mode, and prints the results.
//
//     replay_walk SERVICE DEVELOPER_KEY MAP RECORDING [map|localize]
//
// RECORDING is a folder in the TUM RGB-D format (docs/recordings.md); `geoloom record room` makes one.
// Run it with `map` on one walk through a room, then with `localize` on another walk through the same room.
#import <GeoloomObjC/GeoloomObjC.h>
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>

static atomic_bool isOpen;

static MapSession* openSession(ARSession* arSession, MapMode mode, const char* map, const char* key) {
  MapSessionConfiguration* configuration =
      [[[MapSessionConfiguration alloc] initWithSceneUnderstandingConfidenceThreshold:0.6F
                                                           featureMatchDistanceMeters:0.5F] autorelease];
  MapSession* session = [[MapSession alloc] initWithArSession:arSession
                                                      mapMode:mode
                                                       userID:@"hello"
                                                        mapID:[NSString stringWithUTF8String:map]
                                                 developerKey:[NSString stringWithUTF8String:key]
                                                 screenHeight:812
                                                  screenWidth:375
                                      mapSessionConfiguration:configuration];
  [session
      registerCallbacksWithAssetsFoundCallback:^(NSArray* assets) {
        for (MapAsset* asset in assets) {
          // An asset keeps the orientation it was stored with; the rotation turns it into this session.
          printf("asset %s at %g, %g, %g, heading %g rad\n", [[asset assetID] UTF8String], asset.position.x,
                 asset.position.y, asset.position.z, asset.orientation + [session lastTransform].rotation);
        }
      }
      statusCallback:^(MapStatus status) {
        printf("status %ld\n", (long)status);
        isOpen = status == MapStatusInitialized;
      }
      objectDetectedCallback:^(NSArray* objects) {
        for (DetectedObject* object in objects) printf("seen %s\n", [[object print] UTF8String]);
      }];
  return session;
}

static void runLoopFor(NSTimeInterval seconds) {
  NSDate* end = [NSDate dateWithTimeIntervalSinceNow:seconds];
  do [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:end];
  while ([end timeIntervalSinceNow] > 0);
}

int main(int argc, char** argv) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  if (argc < 5) {
    fprintf(stderr, "usage: replay_walk SERVICE DEVELOPER_KEY MAP RECORDING [map|localize]\n");
    return 2;
  }
  const BOOL isMapping = argc <= 5 || strcmp(argv[5], "localize") != 0;
  ARRecording* recording = [ARRecording recordingWithFolder:[NSString stringWithUTF8String:argv[4]]];
  if (recording == nil) return 1;  // the system log has the reason
  setvbuf(stdout, NULL, _IOLBF, 0);
  [ServiceEndpoints
      setCurrent:[ServiceEndpoints endpointsWithService:[NSString stringWithUTF8String:argv[1]]]];
  [GeoloomMainQueue handOverToMainRunLoop];

  ARSession* arSession = [ARSession new];
  MapSession* session =
      openSession(arSession, isMapping ? MapModeMapping : MapModeLocalization, argv[3], argv[2]);
  [arSession setDidUpdateFrame:^(ARFrame* frame) {
    [session updateWithFrame:frame];
  }];
  for (int i = 0; i < 300 && !isOpen; ++i) runLoopFor(0.1);
  if (!isOpen) return 1;
  if (isMapping) {
    MapAsset* lamp = [[[MapAsset alloc] init:@"lamp":SCNVector3Make(0, 0, -1):0] autorelease];
    [session storePlacementWithAssets:[NSArray arrayWithObject:lamp]
                             callback:^(BOOL stored) {
                               printf("lamp %s\n", stored ? "stored" : "refused");
                             }];
  }
  // In real time. Assets arrive once the service has computed a transform.
  for (NSUInteger i = 0; i < recording.frameCount; ++i) {
    NSAutoreleasePool* framePool = [NSAutoreleasePool new];
    [arSession deliverFrame:[recording frameAtIndex:i]];
    const NSTimeInterval wait = [recording timestampOfFrame:i + 1] - [recording timestampOfFrame:i];
    runLoopFor(wait > 0 ? wait : 0);
    [framePool release];
  }
  for (NSString* line in recording.problems) fprintf(stderr, "%s\n", [line UTF8String]);
  runLoopFor(isMapping ? 2 : 20);
  [pool release];
  return 0;
}
