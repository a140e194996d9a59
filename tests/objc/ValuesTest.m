#include <math.h>

#import "tests/objc/Case.h"

static MapAsset* asset(NSString* assetID, float x, float y, float z, float orientation) {
  return [[[MapAsset alloc] init:assetID:SCNVector3Make(x, y, z):orientation] autorelease];
}

TEST_CASE(assetsKeepTheirValues) {
  MapAsset* lamp = asset(@"lamp", 1, 2, 3, 0.5F);
  EXPECT_EQUAL([lamp assetID], @"lamp");
  EXPECT([lamp position].x == 1 && [lamp position].y == 2 && [lamp position].z == 3);
  EXPECT([lamp orientation] == 0.5F);
  EXPECT([lamp confidence] == -1);

  NSMutableString* name = [NSMutableString stringWithString:@"vase"];
  lamp.assetID = name;
  [name appendString:@" 2"];
  EXPECT_EQUAL([lamp assetID], @"vase");
  lamp.position = SCNVector3Make(4, 5, 6);
  lamp.orientation = 1;
  lamp.confidence = 0.25F;
  EXPECT([lamp position].z == 6 && [lamp orientation] == 1 && [lamp confidence] == 0.25F);
}

TEST_CASE(assetsCompareByIdentifierPositionAndOrientation) {
  MapAsset* composed = asset(@"caf\u00E9", 1, 2, 3, 0);
  MapAsset* decomposed = asset(@"cafe\u0301", 1, 2, 3, -0.0F);
  decomposed.confidence = 0.5F;
  EXPECT_EQUAL(composed, decomposed);
  EXPECT([[NSSet setWithObjects:composed, decomposed, nil] count] == 1);
  EXPECT(![composed isEqual:asset(@"caf\u00E9", 1, 2, nextafterf(3, 4), 0)]);
  EXPECT(![composed isEqual:nil] && ![composed isEqual:@"caf\u00E9"]);
}

// Only an unpaired surrogate is lost.
TEST_CASE(identifiersMayBeAnyText) {
  NSMutableString* broken = [NSMutableString stringWithString:@"\U0001F4A1 lamp"];
  EXPECT(![asset(broken, 0, 0, 0, 0) isEqual:asset(@"\U0001F4A2 lamp", 0, 0, 0, 0)]);
  [broken deleteCharactersInRange:NSMakeRange(0, 1)];
  EXPECT_EQUAL(asset(broken, 0, 0, 0, 0), asset(@" lamp", 0, 0, 0, 0));
  const unichar withZero[] = {'a', 0, 'b'};
  NSString* zero = [NSString stringWithCharacters:withZero length:3];
  EXPECT(![asset(zero, 0, 0, 0, 0) isEqual:asset(@"a", 0, 0, 0, 0)]);
  EXPECT_EQUAL(asset(nil, 0, 0, 0, 0), asset(@"", 0, 0, 0, 0));
}

TEST_CASE(propertiesWorkByKey) {
  MapAsset* lamp = asset(@"lamp", 1, 2, 3, 0.5F);
  SCNVector3 position = {4, 5, 6};
  [lamp setValue:[NSValue valueWithBytes:&position objCType:@encode(SCNVector3)] forKey:@"position"];
  [lamp setValue:[NSNumber numberWithFloat:0.25F] forKey:@"orientation"];
  [lamp setValue:@"vase" forKey:@"assetID"];
  EXPECT_EQUAL(lamp, asset(@"vase", 4, 5, 6, 0.25F));
  EXPECT_EQUAL([lamp valueForKey:@"confidence"], [NSNumber numberWithFloat:-1]);
  SCNVector3 read = {0, 0, 0};
  [[lamp valueForKey:@"position"] getValue:&read];
  EXPECT(read.x == 4 && read.y == 5 && read.z == 6);

  MapSessionConfiguration* configuration = makeConfiguration();
  EXPECT_EQUAL([configuration valueForKey:@"sceneUnderstandingConfidenceThreshold"],
               [NSNumber numberWithFloat:0.6F]);
  [configuration setValue:[NSNumber numberWithFloat:3] forKey:@"featureMatchDistanceMeters"];
  EXPECT(configuration.featureMatchDistanceMeters == 3);
}

TEST_CASE(uninitialisedObjectsAreHarmless) {
  DetectedObject* object = [[DetectedObject alloc] autorelease];
  EXPECT([object name] == nil && [object print] == nil && [object height] == 0 && [object center].x == 0);
  MapSession* session = [[MapSession alloc] autorelease];
  EXPECT([session mapID] == nil && [session mapSessionUUID] == nil);
  EXPECT(![session storePlacementWithAssets:[NSArray array] callback:NULL]);
  [session updateWithFrame:nil];
  [session resetWithArSession:nil];
}

static ARFrame* frame(const float* transform, const float* intrinsics, const SCNVector3* points,
                      NSUInteger count) {
  static const unsigned char pixels[4] = {0};
  return [[[ARFrame alloc] initWithPixels:pixels
                                    width:1
                                   height:1
                              bytesPerRow:4
                                transform:transform
                               intrinsics:intrinsics
                            featurePoints:points
                                    count:count
                                timestamp:3] autorelease];
}

TEST_CASE(framesNeedTransformIntrinsicsAndPoints) {
  const float matrix[16] = {1};
  const SCNVector3 point = {1, 2, 3};
  EXPECT([frame(matrix, matrix, &point, 1) timestamp] == 3);
  EXPECT([frame(matrix, matrix, NULL, 0) timestamp] == 3);
  EXPECT(frame(NULL, matrix, &point, 1) == nil);
  EXPECT(frame(matrix, NULL, &point, 1) == nil);
  EXPECT(frame(matrix, matrix, NULL, 1) == nil);
}

TEST_CASE(viewsKeepTheirFrameAndSession) {
  ARSCNView* view = [[ARSCNView alloc] initWithFrame:NSMakeRect(1, 2, 5, 6)];
  EXPECT(NSEqualRects([view frame], NSMakeRect(1, 2, 5, 6)));
  ARSession* session = [ARSession new];
  view.session = session;
  EXPECT([view session] == session && [session retainCount] == 2);
  EXPECT([view.scene.snapshot.children count] == 0 && [view.layer.sublayers count] == 0);
  [view release];
  EXPECT([session retainCount] == 1);
  [session release];
}

TEST_CASE(endpointsOfOneServiceHaveItsAddress) {
  ServiceEndpoints* endpoints = [ServiceEndpoints endpointsWithService:@"http://127.0.0.1:1/"];
  [ServiceEndpoints setCurrent:endpoints];
  ServiceEndpoints* current = [ServiceEndpoints current];
  EXPECT_EQUAL([current production], @"http://127.0.0.1:1/prod/maps");
  EXPECT_EQUAL([current beta], @"http://127.0.0.1:1/beta/maps");
  EXPECT_EQUAL([current sceneUnderstanding], @"http://127.0.0.1:1/dev/scene-understanding/localize");
  EXPECT_EQUAL([current tables], @"http://127.0.0.1:1");
  EXPECT_EQUAL([current metrics], @"http://127.0.0.1:1");
}
