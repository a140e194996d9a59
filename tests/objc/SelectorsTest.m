// Every class and selector by name, as the runtime finds it.
#import <objc/runtime.h>

#import "tests/objc/Case.h"

typedef struct {
  const char* className;
  const char* superclassName;
  const char* instanceMethods[24];
  const char* classMethods[12];
} Face;

static const Face FACES[] = {
    {"MapSession",
     "NSObject",
     {"initWithArSession:mapMode:userID:mapID:developerKey:screenHeight:screenWidth:mapSessionConfiguration:",
      "registerCallbacksWithAssetsFoundCallback:statusCallback:objectDetectedCallback:",
      "resetWithArSession:", "mapSessionMode", "mapSessionUUID", "mappingUUID", "mapID", "userID",
      "lastTransform",
      "updateWithFrame:", "visualizeSceneUnderstandingWithView:scene:", "storePlacementWithAssets:callback:",
      "listNearbyMapsWithUserID:longitude:latitude:longitudeDelta:latitudeDelta:mapsFoundCallback:"},
     {"CONFIDENCE_THRESHOLD", "setCONFIDENCE_THRESHOLD:", "TIMEOUT_THRESHOLD", "setTIMEOUT_THRESHOLD:",
      "CONTINOUSLY_UPDATED_RELOCALIZATION", "setCONTINOUSLY_UPDATED_RELOCALIZATION:", "USE_BETA_ALGO",
      "setUSE_BETA_ALGO:", "RETRIEVE_ASSETS_INTERVAL", "setRETRIEVE_ASSETS_INTERVAL:",
      "detectionModelFault"}},
    {"MapSessionConfiguration",
     "NSObject",
     {"initWithSceneUnderstandingConfidenceThreshold:featureMatchDistanceMeters:",
      "sceneUnderstandingConfidenceThreshold", "setSceneUnderstandingConfidenceThreshold:",
      "featureMatchDistanceMeters", "setFeatureMatchDistanceMeters:"},
     {NULL}},
    {"Map",
     "NSObject",
     {"userID", "setUserID:", "mapID", "setMapID:", "latitude", "setLatitude:", "longitude",
      "setLongitude:", "altitude", "setAltitude:", "horizontalAccuracy",
      "setHorizontalAccuracy:", "verticalAccuracy", "setVerticalAccuracy:"},
     {NULL}},
    {"MapAsset",
     "NSObject",
     {"init:::", "assetID", "setAssetID:", "position", "setPosition:", "orientation",
      "setOrientation:", "confidence", "setConfidence:", "isEqual:", "hash"},
     {NULL}},
    {"DetectedObject", "NSObject", {"name", "confidence", "center", "height", "print"}, {NULL}},
    {"ARSession", "NSObject", {"init", "currentFrame", "setDidUpdateFrame:", "deliverFrame:"}, {NULL}},
    {"ARFrame", "NSObject", {"timestamp"}, {NULL}},
    {"ARRecording",
     "NSObject",
     {"frameCount", "problems", "timestampOfFrame:", "frameAtIndex:"},
     {"recordingWithFolder:"}},
    {"UIView", "NSObject", {"init", "initWithFrame:", "frame", "layer"}, {NULL}},
    {"ARSCNView", "UIView", {"init", "session", "setSession:", "scene"}, {NULL}}};
enum { FACE_COUNT = sizeof FACES / sizeof *FACES };

// GCC's runtime aborts for an unknown type in the signature.
TEST_CASE(everyClassRespondsToEverySelector) {
  for (int i = 0; i < FACE_COUNT; ++i) {
    const Face* face = &FACES[i];
    Class class = NSClassFromString([NSString stringWithUTF8String:face->className]);
    expect(class != Nil, face->className, __FILE__, __LINE__);
    EXPECT_EQUAL(NSStringFromClass([class superclass]), [NSString stringWithUTF8String:face->superclassName]);
    for (const char* const* name = face->instanceMethods; *name != NULL; ++name) {
      NSMethodSignature* signature = [class instanceMethodSignatureForSelector:sel_registerName(*name)];
      NSUInteger arguments = 2;
      for (const char* letter = *name; *letter != '\0'; ++letter) arguments += *letter == ':';
      expect([signature numberOfArguments] == arguments, *name, face->className, __LINE__);
    }
    for (const char* const* name = face->classMethods; *name != NULL; ++name) {
      expect([class respondsToSelector:sel_registerName(*name)], *name, face -> className, __LINE__);
    }
  }
}

TEST_CASE(readOnlyPropertiesHaveNoSetter) {
  const struct {
    Class class;
    const char* setter;
  } setters[] = {{[DetectedObject class], "setName:"},       {[DetectedObject class], "setConfidence:"},
                 {[DetectedObject class], "setCenter:"},     {[DetectedObject class], "setHeight:"},
                 {[MapSession class], "setMapSessionMode:"}, {[MapSession class], "setMapSessionUUID:"},
                 {[MapSession class], "setMappingUUID:"},    {[MapSession class], "setMapID:"},
                 {[MapSession class], "setUserID:"}};
  for (size_t i = 0; i < sizeof setters / sizeof *setters; ++i) {
    expect(![setters[i].class instancesRespondToSelector:sel_registerName(setters[i].setter)],
           setters[i].setter, __FILE__, __LINE__);
  }
}

TEST_CASE(unavailableInitRaises) {
  NSArray* classes = [NSArray arrayWithObjects:@"MapSession", @"MapSessionConfiguration", @"Map", @"MapAsset",
                                               @"DetectedObject", @"ARFrame", nil];
  for (NSString* name in classes) {
    Class class = NSClassFromString(name);
    NSString* reason = nil;
    @try {
      [[class alloc] performSelector:@selector(init)];
    } @catch (NSException* exception) {
      EXPECT_EQUAL([exception name], NSInvalidArgumentException);
      reason = [exception reason];
    }
    EXPECT([reason hasPrefix:[name stringByAppendingString:@" has no init: "]]);
    EXPECT_RAISES([class performSelector:@selector(new)]);
  }
}

TEST_CASE(settingsAreClassProperties) {
  EXPECT([MapSession CONFIDENCE_THRESHOLD] == 0.75F && [MapSession TIMEOUT_THRESHOLD] == 60);
  EXPECT([MapSession RETRIEVE_ASSETS_INTERVAL] == 2);
  EXPECT(![MapSession CONTINOUSLY_UPDATED_RELOCALIZATION] && ![MapSession USE_BETA_ALGO]);
  [MapSession setTIMEOUT_THRESHOLD:-7];
  [MapSession setUSE_BETA_ALGO:YES];
  EXPECT([MapSession TIMEOUT_THRESHOLD] == -7 && [MapSession USE_BETA_ALGO]);
}

