// A session in an application compiled by gcc, without blocks: its callbacks are functions.
#import <GeoloomObjC/Private.h>

#import "tests/objc/Case.h"
#include "tests/objc/Service.h"

static NSMutableArray* received;

// A function with data besides its arguments.
typedef struct {
  GeoloomBlock block;
  MapSession* session;
} SessionBlock;

static void onAssets(SessionBlock* block, NSArray* assets) {
  EXPECT(serviceIsOnAssetQueue([block->session geoloomNative]));
  MapAsset* asset = [assets lastObject];
  [received addObject:[NSString stringWithFormat:@"%@ at %g", [asset assetID], [asset position].x]];
}

static void onStatus(GeoloomBlock* block, MapStatus status) {
  EXPECT([NSThread isMainThread]);
  [received addObject:[NSString stringWithFormat:@"status %ld", (long)status]];
}

static void onObjects(SessionBlock* block, NSArray* objects) {
  EXPECT(serviceIsOnDetectorQueue([block->session geoloomNative]));
  [received addObject:[[objects lastObject] print]];
}

static SessionBlock assetsBlock = {GEOLOOM_BLOCK(onAssets), NULL};
static GeoloomBlock statusBlock = GEOLOOM_BLOCK(onStatus);
static SessionBlock objectsBlock = {GEOLOOM_BLOCK(onObjects), NULL};

TEST_CASE(functionsAreCalledLikeBlocks) {
  serviceStart();
  serviceAnswer(
      "/prod/maps/find_assets_on_the_map",
      "{\"placements\": [{\"placement\": {\"x\": 1, \"y\": 0, \"z\": 0, \"ori\": 0}, \"asset\": {\"id\": "
      "\"lamp\"}}]}");
  serviceAnswerTransform("1,2,3,0");
  EXPECT([GeoloomMainQueue handOverToMainRunLoop]);
  received = [NSMutableArray new];
  MapSession* session = openSession(MapModeLocalization);
  assetsBlock.session = objectsBlock.session = session;
  [session registerCallbacksWithAssetsFoundCallback:&assetsBlock
                                     statusCallback:&statusBlock
                             objectDetectedCallback:&objectsBlock];
  RUN_UNTIL([received count] == 1);
  EXPECT_EQUAL([received lastObject], @"status 0");
  RUN_UNTIL(serviceHasStoredAssets([session geoloomNative]));
  serviceTick([session geoloomNative]);
  EXPECT_EQUAL([received lastObject], @"lamp at 2");
  serviceDetectChair([session geoloomNative]);
  EXPECT_EQUAL([received lastObject], @"chair, 0.8125, 0.9");
}

static void onObjectsThrow(GeoloomBlock* block, NSArray* objects) {
  [[Canary new] autorelease];
  [received addObject:@"objects"];
  serviceThrow();
}
static GeoloomBlock throwingBlock = GEOLOOM_BLOCK(onObjectsThrow);

// Like a callback written in Objective-C++.
TEST_CASE(cppExceptionsFromCallbacksAreLogged) {
  serviceStart();
  received = [NSMutableArray new];
  MapSession* session = openSession(MapModeMapping);
  [session registerCallbacksWithAssetsFoundCallback:NULL
                                     statusCallback:NULL
                             objectDetectedCallback:&throwingBlock];
  serviceDetectChair([session geoloomNative]);
  serviceDetectChair([session geoloomNative]);
  EXPECT([received count] == 2);
  EXPECT([Canary count] == 0);
  EXPECT(serviceCountOfLinesThatBegin("! exception ") == 2);
}

