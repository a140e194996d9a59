// A session in an application that is compiled without blocks, by gcc: its callbacks are functions.
#import <GeoloomObjC/Private.h>

#import "tests/objc/Case.h"
#include "tests/objc/Service.h"

static NSMutableArray* heard;

// A function with what it needs beyond its arguments.
typedef struct {
  GeoloomBlock block;
  MapSession* session;
} SessionBlock;

static void onAssets(SessionBlock* block, NSArray* assets) {
  EXPECT(serviceIsOnAssetQueue([block->session geoloomNative]));
  MapAsset* asset = [assets lastObject];
  [heard addObject:[NSString stringWithFormat:@"%@ at %g", [asset assetID], [asset position].x]];
}

static void onStatus(GeoloomBlock* block, MapStatus status) {
  EXPECT([NSThread isMainThread]);
  [heard addObject:[NSString stringWithFormat:@"status %ld", (long)status]];
}

static void onObjects(SessionBlock* block, NSArray* objects) {
  EXPECT(serviceIsOnDetectorQueue([block->session geoloomNative]));
  [heard addObject:[[objects lastObject] print]];
}

static void onStored(GeoloomBlock* block, BOOL stored) {
  [heard addObject:stored ? @"stored" : @"refused"];
}

static void onMaps(GeoloomBlock* block, NSArray* maps) {
  [heard addObject:[NSString stringWithFormat:@"%lu maps", (unsigned long)[maps count]]];
}

static SessionBlock assetsBlock = {GEOLOOM_BLOCK(onAssets), NULL};
static GeoloomBlock statusBlock = GEOLOOM_BLOCK(onStatus);
static SessionBlock objectsBlock = {GEOLOOM_BLOCK(onObjects), NULL};
static GeoloomBlock storedBlock = GEOLOOM_BLOCK(onStored);
static GeoloomBlock mapsBlock = GEOLOOM_BLOCK(onMaps);

static MapSession* openAndHearStatus(MapMode mode) {
  EXPECT([GeoloomMainQueue handOverToMainRunLoop]);
  heard = [NSMutableArray new];
  MapSession* session = openSession(mode);
  assetsBlock.session = objectsBlock.session = session;
  [session registerCallbacksWithAssetsFoundCallback:&assetsBlock
                                     statusCallback:&statusBlock
                             objectDetectedCallback:&objectsBlock];
  RUN_UNTIL([heard count] == 1);
  EXPECT_EQUAL([heard lastObject], @"status 0");
  return session;
}

TEST_CASE(aMappingSessionCallsFunctions) {
  serviceStart();
  serviceAnswer("/prod/maps/place_asset_on_map", "{\"placement_id\": \"P1\"}");
  serviceAnswer("/prod/maps/list_nearby_maps", "[]");
  MapSession* session = openAndHearStatus(MapModeMapping);
  serviceDetectChair([session geoloomNative]);
  EXPECT_EQUAL([heard lastObject], @"chair, 0.8125, 0.9");
  MapAsset* lamp = [[[MapAsset alloc] init:@"lamp":SCNVector3Make(1, 2, 3):0.5F] autorelease];
  EXPECT([session storePlacementWithAssets:[NSArray arrayWithObject:lamp] callback:&storedBlock]);
  RUN_UNTIL([heard count] == 3);
  EXPECT_EQUAL([heard lastObject], @"stored");
  EXPECT([session listNearbyMapsWithUserID:@"u7"
                                 longitude:11
                                  latitude:48
                            longitudeDelta:1
                             latitudeDelta:1
                         mapsFoundCallback:&mapsBlock]);
  RUN_UNTIL([heard count] == 4);
  EXPECT_EQUAL([heard lastObject], @"0 maps");
}

TEST_CASE(aLocalizationSessionCallsFunctions) {
  serviceStart();
  serviceAnswer(
      "/prod/maps/find_assets_on_the_map",
      "{\"placements\": [{\"placement\": {\"x\": 1, \"y\": 0, \"z\": 0, \"ori\": 0}, \"asset\": {\"id\": "
      "\"lamp\"}}]}");
  serviceAnswerTransform("1,2,3,0");
  MapSession* session = openAndHearStatus(MapModeLocalization);
  RUN_UNTIL(serviceHasStoredAssets([session geoloomNative]));
  serviceTick([session geoloomNative]);
  EXPECT_EQUAL([heard lastObject], @"lamp at 2");
  EXPECT(![session storePlacementWithAssets:[NSArray array] callback:&storedBlock]);
}

static void onObjectsThrow(GeoloomBlock* block, NSArray* objects) {
  [[Canary new] autorelease];
  [heard addObject:@"objects"];
  serviceThrow();
}
static GeoloomBlock throwingBlock = GEOLOOM_BLOCK(onObjectsThrow);

// As out of a callback that is written in Objective-C++.
TEST_CASE(aCppExceptionOutOfACallbackIsALine) {
  serviceStart();
  heard = [NSMutableArray new];
  MapSession* session = openSession(MapModeMapping);
  [session registerCallbacksWithAssetsFoundCallback:NULL
                                     statusCallback:NULL
                             objectDetectedCallback:&throwingBlock];
  serviceDetectChair([session geoloomNative]);
  serviceDetectChair([session geoloomNative]);
  EXPECT([heard count] == 2);
  EXPECT([Canary count] == 0);
  EXPECT(serviceCountOfLine("! exception out of the detections callback: mine") == 2);
}

// By name, as an application does that was not linked with the face.
TEST_CASE(aSessionIsMadeByName) {
  serviceStart();
  Class class = NSClassFromString(@"MapSession");
  SEL selector = NSSelectorFromString(@"initWithArSession:mapMode:userID:mapID:developerKey:screenHeight:"
                                      @"screenWidth:mapSessionConfiguration:");
  NSInvocation* invocation =
      [NSInvocation invocationWithMethodSignature:[class instanceMethodSignatureForSelector:selector]];
  id session = [class alloc];
  id arSession = [[NSClassFromString(@"ARSession") new] autorelease];
  id configuration = makeConfiguration();
  NSInteger mode = MapModeLocalization;
  NSString* texts[] = {@"u7", @"m3", @"abc"};
  CGFloat sizes[] = {812, 375};
  [invocation setSelector:selector];
  [invocation setArgument:&arSession atIndex:2];
  [invocation setArgument:&mode atIndex:3];
  for (int i = 0; i < 3; ++i) [invocation setArgument:&texts[i] atIndex:4 + i];
  for (int i = 0; i < 2; ++i) [invocation setArgument:&sizes[i] atIndex:7 + i];
  [invocation setArgument:&configuration atIndex:9];
  [invocation invokeWithTarget:session];
  [invocation getReturnValue:&session];
  EXPECT_EQUAL([session valueForKey:@"userID"], @"u7");
  EXPECT_EQUAL([session valueForKey:@"mapSessionMode"], [NSNumber numberWithInteger:MapModeLocalization]);
  [session performSelector:@selector(resetWithArSession:) withObject:arSession];
  EXPECT([session valueForKey:@"mapSessionUUID"] == nil);
}
