// A session in an application compiled by clang, with blocks.
#import <GeoloomObjC/Private.h>
#include <stdlib.h>
#include <string.h>

#import "tests/objc/Case.h"
#include "tests/objc/Service.h"

static NSString* lastValue(const char* request, const char* key) {
  char* json = serviceLastValue(request, key);
  NSString* text = json == NULL ? nil : [NSString stringWithUTF8String:json];
  free(json);
  return text;
}

// A session after `initialized`; `assets` and `objects` may be nil.
static MapSession* openWith(MapMode mode, AssetsFoundCallback assets, ObjectDetectedCallback objects) {
  EXPECT([GeoloomMainQueue handOverToMainRunLoop]);
  MapSession* session = openSession(mode);
  __block BOOL isInitialized = NO;
  [session registerCallbacksWithAssetsFoundCallback:assets
                                     statusCallback:^(MapStatus status) {
                                       isInitialized = status == MapStatusInitialized;
                                     }
                             objectDetectedCallback:objects];
  RUN_UNTIL(isInitialized);
  return session;
}

TEST_CASE(statusesArriveOnTheMainThread) {
  serviceStart();
  EXPECT([MapSession detectionModelFault] == nil);
  EXPECT([GeoloomMainQueue handOverToMainRunLoop]);
  EXPECT(![GeoloomMainQueue handOverToMainRunLoop]);
  NSMutableArray* statuses = [NSMutableArray array];
  MapSession* session = openSession(MapModeMapping);
  EXPECT([session mapSessionUUID] == nil && [session mappingUUID] == nil && [session lastTransform] == nil);
  [session registerCallbacksWithAssetsFoundCallback:nil
                                     statusCallback:^(MapStatus status) {
                                       EXPECT([NSThread isMainThread]);
                                       [statuses addObject:[NSNumber numberWithInteger:status]];
                                     }
                             objectDetectedCallback:nil];
  RUN_UNTIL([statuses count] == 1);
  EXPECT_EQUAL([statuses lastObject], [NSNumber numberWithInteger:MapStatusInitialized]);
  EXPECT_EQUAL([session mapSessionUUID], @"M1");
  EXPECT_EQUAL([session mappingUUID], @"M1");
  EXPECT_EQUAL([session valueForKey:@"mapID"], @"m3");
  EXPECT_EQUAL([session performSelector:@selector(userID)], @"u7");
  EXPECT_EQUAL([session valueForKey:@"mapSessionMode"], [NSNumber numberWithInteger:MapModeMapping]);
  EXPECT_EQUAL(lastValue("/prod/maps/create_map", "developer_key"), @"\"900150983cd24fb0d6963f7d28e17f72\"");

  [session resetWithArSession:[[ARSession new] autorelease]];
  EXPECT([session mapSessionUUID] == nil && [session mappingUUID] == nil);
}

TEST_CASE(invalidArgumentsCreateNoSession) {
  serviceStart();
  MapSessionConfiguration* configuration = makeConfiguration();
  ARSession* arSession = [[ARSession new] autorelease];
  const struct {
    ARSession* arSession;
    NSInteger mode;
    MapSessionConfiguration* configuration;
    const char* line;
  } table[] = {
      {nil, MapModeMapping, configuration, "! MapSession not created: no AR session was given"},
      {(id) @"text", MapModeMapping, configuration, "! MapSession not created: no AR session was given"},
      {arSession, MapModeMapping, nil, "! MapSession not created: no configuration was given"},
      {arSession, 2, configuration,
       "! MapSession not created: 2 is not a mode; use MapModeMapping or MapModeLocalization"}};
  for (size_t i = 0; i < sizeof table / sizeof *table; ++i) {
    const size_t before = serviceCountOfLine(table[i].line);
    EXPECT(makeSession(table[i].arSession, table[i].mode, table[i].configuration) == nil);
    EXPECT(serviceCountOfLine(table[i].line) == before + 1);
  }
}

static const char STORED[] =
    "{\"placements\": [{\"placement\": {\"x\": 1, \"y\": 0, \"z\": 0, \"ori\": 0.5}, \"asset\": {\"id\": "
    "\"caf\u00E9\"}},"
    "{\"placement\": {\"x\": 0, \"y\": 1, \"z\": 0, \"ori\": 0}, \"asset\": {\"id\": \"vase\"}}]}";

TEST_CASE(assetsArriveMovedOnTheAssetQueue) {
  serviceStart();
  serviceAnswer("/prod/maps/find_assets_on_the_map", STORED);
  serviceAnswerTransform("1,2,3,0");
  __block NSArray* found = nil;
  __block MapSession* session = nil;
  session = openWith(
      MapModeLocalization,
      ^(NSArray* assets) {
        EXPECT(serviceIsOnAssetQueue([session geoloomNative]));
        found = [assets retain];
      },
      nil);
  EXPECT_EQUAL([session mapSessionUUID], @"L1");
  EXPECT_EQUAL([session mappingUUID], @"M1");
  EXPECT([session mapSessionMode] == MapModeLocalization);
  RUN_UNTIL(serviceHasStoredAssets([session geoloomNative]));
  serviceTick([session geoloomNative]);
  MapAsset* cafe = [[[MapAsset alloc] init:@"caf\u00E9":SCNVector3Make(2, 2, 3):0.5F] autorelease];
  MapAsset* vase = [[[MapAsset alloc] init:@"vase":SCNVector3Make(1, 3, 3):0] autorelease];
  NSArray* expected = [NSArray arrayWithObjects:cafe, vase, nil];
  EXPECT_EQUAL(found, expected);
  EXPECT([[found lastObject] confidence] == 0.5F);
  EXPECT([[session lastTransform] translation].z == 3 && [[session lastTransform] rotation] == 0);
  [found release];
}

TEST_CASE(objectsArriveOnTheDetectorQueue) {
  serviceStart();
  enum { WIDTH = 64, HEIGHT = 48, POINTS = WIDTH * HEIGHT };
  __block NSArray* seen = nil;
  __block MapSession* session = nil;
  session = openWith(MapModeMapping, nil, ^(NSArray* objects) {
    EXPECT(serviceIsOnDetectorQueue([session geoloomNative]));
    if (seen == nil) seen = [objects retain];
  });
  ARSCNView* view = [[[ARSCNView alloc] initWithFrame:NSMakeRect(0, 0, 375, 812)] autorelease];
  [session visualizeSceneUnderstandingWithView:view scene:view];
  ARSession* arSession = [[ARSession new] autorelease];
  [arSession setDidUpdateFrame:^(ARFrame* frame) {
    [session updateWithFrame:frame];
  }];
  EXPECT([arSession currentFrame] == nil);

  // A camera that moves steadily to the right, two metres before feature points on two walls.
  static unsigned char pixels[4 * WIDTH * HEIGHT];
  static SCNVector3 points[POINTS];
  const float intrinsics[9] = {64, 0, 0, 0, 64, 0, 31.5F, 23.5F, 1};
  for (int i = 1; i <= 6; ++i) {
    const float x = 0.002F * (float)i;
    const float transform[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, 0, 0, 1};
    for (int p = 0; p < POINTS; ++p) {
      points[p] = SCNVector3Make(((float)(p % WIDTH) - 31.5F) / 32 + x, (23.5F - (float)(p / WIDTH)) / 32,
                                 p / WIDTH % 8 < 4 ? -2 : -2.2F);
    }
    ARFrame* frame = [[[ARFrame alloc] initWithPixels:pixels
                                                width:WIDTH
                                               height:HEIGHT
                                          bytesPerRow:4 * WIDTH
                                            transform:transform
                                           intrinsics:intrinsics
                                        featurePoints:points
                                                count:POINTS
                                            timestamp:i] autorelease];
    [arSession deliverFrame:frame];
    EXPECT([[arSession currentFrame] timestamp] == i);
    serviceWaitForDetector([session geoloomNative]);
  }
  EXPECT([seen count] == 1);
  DetectedObject* person = [seen lastObject];
  EXPECT_EQUAL([person name], @"person");
  EXPECT([person center].z <= -2 && [person center].z >= -2.2F);
  EXPECT([person confidence] > 0.88F && [person confidence] < 0.8809F);
  EXPECT_EQUAL([person valueForKey:@"height"], [NSNumber numberWithFloat:[person height]]);
  EXPECT([view.layer.sublayers count] > 0 && [[view.layer.sublayers lastObject] isHidden]);
  // Twelve edges, a label and a mark, once an object is seen for the second time.
  EXPECT([view.scene.snapshot.children count] >= 14);
  [seen release];
}

static BOOL listNearby(MapSession* session, NSString* userID, MapsFoundCallback callback) {
  return [session listNearbyMapsWithUserID:userID
                                 longitude:11
                                  latitude:48
                            longitudeDelta:0.5
                             latitudeDelta:0.25
                         mapsFoundCallback:callback];
}

TEST_CASE(placementsAndMapsAreAnsweredOnTheMainThread) {
  serviceStart();
  serviceAnswer("/prod/maps/place_asset_on_map", "{\"placement_id\": \"P1\"}");
  serviceAnswer(
      "/prod/maps/list_nearby_maps",
      "[{\"user_id\": \"u1\", \"map_id\": \"m1\", \"latitude\": 1, \"longitude\": 2, \"altitude\": 3, "
      "\"vertical_accuracy\": 4, \"horizontal_accuracy\": 5}]");
  MapSession* session = openWith(MapModeMapping, nil, nil);
  MapAsset* lamp = [[[MapAsset alloc] init:@"lamp":SCNVector3Make(1, 2, 3):0.5F] autorelease];
  __block int answers = 0;
  NSArray* assets = [NSArray arrayWithObjects:lamp, @"no asset", nil];
  EXPECT([session storePlacementWithAssets:assets
                                  callback:^(BOOL stored) {
                                    EXPECT([NSThread isMainThread]);
                                    EXPECT(stored == YES);
                                    ++answers;
                                  }]);
  RUN_UNTIL(answers == 1);
  EXPECT(serviceCountOfLinesThatBegin("! storePlacement: left out a ") == 1);
  NSString* sent = lastValue("/prod/maps/place_asset_on_map", "placements");
  EXPECT([sent rangeOfString:@"lamp"].length > 0);

  serviceAnswer("/prod/maps/place_asset_on_map", "{}");
  EXPECT([session storePlacementWithAssets:[NSArray arrayWithObject:lamp]
                                  callback:^(BOOL stored) {
                                    EXPECT(stored == NO);
                                    ++answers;
                                  }]);
  RUN_UNTIL(answers == 2);

  __block NSArray* found = nil;
  MapsFoundCallback onMaps = ^(NSArray* maps) {
    EXPECT([NSThread isMainThread]);
    [found release];
    found = [maps retain];
  };
  EXPECT(listNearby(session, nil, onMaps));
  RUN_UNTIL(found != nil);
  EXPECT(lastValue("/prod/maps/list_nearby_maps", "user_id") == nil);
  EXPECT_EQUAL(lastValue("/prod/maps/list_nearby_maps", "latitude_delta"), @"0.25");
  Map* map = [found lastObject];
  EXPECT([found count] == 1 && [map isKindOfClass:[Map class]] && ![map isEqual:lamp]);
  EXPECT_EQUAL([map userID], @"u1");
  EXPECT_EQUAL([map valueForKey:@"mapID"], @"m1");
  EXPECT([map latitude] == 1 && [map longitude] == 2 && [map altitude] == 3);
  EXPECT([map verticalAccuracy] == 4 && [map horizontalAccuracy] == 5);
  map.mapID = @"mine";
  [map setValue:[NSNumber numberWithDouble:7] forKey:@"altitude"];
  EXPECT_EQUAL([map mapID], @"mine");
  EXPECT([map altitude] == 7);

  EXPECT(listNearby(session, @"u9", onMaps));
  EXPECT(serviceWaitForRequests("/prod/maps/list_nearby_maps", 2));
  EXPECT_EQUAL(lastValue("/prod/maps/list_nearby_maps", "user_id"), @"\"u9\"");
}

// Blocks and the objects they captured live until they are replaced.
TEST_CASE(callbacksAreKeptUntilReplaced) {
  serviceStart();
  MapSession* session = openWith(MapModeMapping, nil, nil);
  __block int calls = 0;
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  Canary* canary = [[Canary new] autorelease];
  void (^inner)(void) = ^{
    calls += [canary retainCount] > 0;
  };
  [session registerCallbacksWithAssetsFoundCallback:nil
                                     statusCallback:nil
                             objectDetectedCallback:^(NSArray* objects) {
                               if ([objects count] > 0) inner();
                             }];
  [pool release];
  EXPECT([Canary count] == 1);
  serviceDetectChair([session geoloomNative]);
  serviceDetectChair([session geoloomNative]);
  EXPECT(calls == 2);
  EXPECT([Canary count] == 1);
  [session registerCallbacksWithAssetsFoundCallback:nil statusCallback:nil objectDetectedCallback:nil];
  EXPECT([Canary count] == 0);
  serviceDetectChair([session geoloomNative]);
  EXPECT(calls == 2);

  // A block that is called at most once is released after the call, or once it cannot be called any more.
  pool = [NSAutoreleasePool new];
  Canary* placed = [[Canary new] autorelease];
  MapSession* localization = openSession(MapModeLocalization);
  EXPECT(![localization storePlacementWithAssets:[NSArray array]
                                        callback:^(BOOL stored) {
                                          calls += [placed retainCount] > 0;
                                        }]);
  [pool release];
  EXPECT([Canary count] == 0);
}

TEST_CASE(everyCallHasItsOwnPool) {
  serviceStart();
  __block int left = -1;
  MapSession* session = openWith(MapModeMapping, nil, ^(NSArray* objects) {
    left = [Canary count];
    [[Canary new] autorelease];
  });
  serviceDetectChair([session geoloomNative]);
  EXPECT(left == 0 && [Canary count] == 0);
  serviceDetectChair([session geoloomNative]);
  EXPECT(left == 0 && [Canary count] == 0);
}

TEST_CASE(exceptionsFromCallbacksAreLogged) {
  serviceStart();
  EXPECT([GeoloomMainQueue handOverToMainRunLoop]);
  __block int calls = 0;
  MapSession* session = openSession(MapModeMapping);
  [session registerCallbacksWithAssetsFoundCallback:nil
      statusCallback:^(MapStatus status) {
        ++calls;
        @throw @"a text";
      }
      objectDetectedCallback:^(NSArray* objects) {
        ++calls;
        [[Canary new] autorelease];
        [NSException raise:NSGenericException format:@"mine, number %d", calls];
      }];
  RUN_UNTIL(calls == 1);
  serviceDetectChair([session geoloomNative]);
  serviceDetectChair([session geoloomNative]);
  EXPECT(calls == 3);
  EXPECT([Canary count] == 0);
  EXPECT(serviceCountOfLine("! exception from the status callback: a text") == 1);
  EXPECT(serviceCountOfLinesThatBegin("! exception from the detections callback: ") == 2);
}

TEST_CASE(sessionsOutliveTheirObject) {
  serviceStart();
  __block int calls = 0;
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  MapSession* session = openWith(MapModeMapping, nil, ^(NSArray* objects) {
    ++calls;
  });
  serviceRemember([session geoloomNative]);
  [pool release];
  EXPECT(serviceDetectChairInRemembered());
  EXPECT(calls == 1);
}

TEST_CASE(blocksShareTheirVariables) {
  int (^counter)(void) = nil;
  {
    __block int count = 0;
    __block Canary* kept = [Canary new];
    int (^onStack)(void) = ^{
      return ++count + (kept == nil);
    };
    counter = Block_copy(onStack);
    EXPECT(onStack() == 1 && counter() == 2 && count == 2);
    // A __block variable does not own its object.
    [kept release];
    EXPECT([Canary count] == 0);
  }
  int (^again)(void) = Block_copy(counter);
  Block_release(counter);
  EXPECT(again() == 3);
  Block_release(again);
}
