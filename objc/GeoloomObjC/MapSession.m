#include "objc/bridge/MapSession.h"

#import <GeoloomObjC/MapSession.h>
#import <GeoloomObjC/Private.h>

@implementation MapSession

+ (float)CONFIDENCE_THRESHOLD {
  return geoloomConfidenceThreshold();
}

+ (void)setCONFIDENCE_THRESHOLD:(float)value {
  geoloomSetConfidenceThreshold(value);
}

+ (NSInteger)TIMEOUT_THRESHOLD {
  return geoloomTimeoutThreshold();
}

+ (void)setTIMEOUT_THRESHOLD:(NSInteger)value {
  geoloomSetTimeoutThreshold(value);
}

+ (BOOL)CONTINOUSLY_UPDATED_RELOCALIZATION {
  return geoloomContinuouslyUpdatedRelocalization();
}

+ (void)setCONTINOUSLY_UPDATED_RELOCALIZATION:(BOOL)value {
  geoloomSetContinuouslyUpdatedRelocalization(value);
}

+ (BOOL)USE_BETA_ALGO {
  return geoloomUseBetaAlgo();
}

+ (void)setUSE_BETA_ALGO:(BOOL)value {
  geoloomSetUseBetaAlgo(value);
}

+ (NSInteger)RETRIEVE_ASSETS_INTERVAL {
  return geoloomRetrieveAssetsInterval();
}

+ (void)setRETRIEVE_ASSETS_INTERVAL:(NSInteger)value {
  geoloomSetRetrieveAssetsInterval(value);
}

+ (NSString*)detectionModelFault {
  return GeoloomStringOf(geoloomMapSessionDetectionModelFault());
}

- (instancetype)initWithArSession:(ARSession*)arSession
                          mapMode:(MapMode)mapMode
                           userID:(NSString*)userID
                            mapID:(NSString*)mapID
                     developerKey:(NSString*)developerKey
                     screenHeight:(CGFloat)screenHeight
                      screenWidth:(CGFloat)screenWidth
          mapSessionConfiguration:(MapSessionConfiguration*)mapSessionConfiguration {
  if ((self = [super init]) == nil) return nil;
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  const GeoloomMapSession construction = {
      .arSession = GeoloomNativeOf(arSession, [ARSession class]),
      .mapMode = mapMode,
      .userID = GeoloomTextOf(userID),
      .mapID = GeoloomTextOf(mapID),
      .developerKey = GeoloomTextOf(developerKey),
      .screenHeight = screenHeight,
      .screenWidth = screenWidth,
      .mapSessionConfiguration = GeoloomNativeOf(mapSessionConfiguration, [MapSessionConfiguration class])};
  native_ = geoloomMapSessionMake(&construction);
  // Releases the developer key's bytes too.
  [pool release];
  if (native_ != NULL) return self;
  [self release];
  return nil;
}

GEOLOOM_REFUSES_INIT(@"use initWithArSession:mapMode:...")

GEOLOOM_HOLDS_NATIVE

- (void)registerCallbacksWithAssetsFoundCallback:(AssetsFoundCallback)assetsFoundCallback
                                  statusCallback:(StatusCallback)statusCallback
                          objectDetectedCallback:(ObjectDetectedCallback)objectDetectedCallback {
  geoloomMapSessionRegisterCallbacks(native_, GeoloomAssetsClosureOf(assetsFoundCallback),
                                     GeoloomStatusClosureOf(statusCallback),
                                     GeoloomDetectionsClosureOf(objectDetectedCallback));
}

- (void)resetWithArSession:(ARSession*)arSession {
  geoloomMapSessionReset(native_, GeoloomNativeOf(arSession, [ARSession class]));
}

- (void)updateWithFrame:(ARFrame*)frame {
  geoloomMapSessionUpdate(native_, GeoloomNativeOf(frame, [ARFrame class]));
}

- (void)visualizeSceneUnderstandingWithView:(UIView*)view scene:(ARSCNView*)scene {
  geoloomMapSessionVisualize(native_, GeoloomNativeOf(view, [UIView class]),
                             GeoloomNativeOf(scene, [ARSCNView class]));
}

- (BOOL)storePlacementWithAssets:(NSArray*)assets callback:(PlacementCallback)callback {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  NSMutableData* values = [NSMutableData dataWithCapacity:[assets count] * sizeof(GeoloomMapAsset)];
  for (id asset in assets) {
    if ([asset isKindOfClass:[MapAsset class]]) {
      const GeoloomMapAsset value = [(MapAsset*)asset values];
      [values appendBytes:&value length:sizeof value];
    } else {
      GeoloomLog([NSString
          stringWithFormat:@"storePlacement: left out a %@, which is not a MapAsset", [asset class]]);
    }
  }
  const BOOL isSent =
      geoloomMapSessionStorePlacement(native_, [values bytes], [values length] / sizeof(GeoloomMapAsset),
                                      GeoloomPlacementClosureOf(callback));
  [pool release];
  return isSent;
}

- (BOOL)listNearbyMapsWithUserID:(NSString*)userID
                       longitude:(double)longitude
                        latitude:(double)latitude
                  longitudeDelta:(double)longitudeDelta
                   latitudeDelta:(double)latitudeDelta
               mapsFoundCallback:(MapsFoundCallback)mapsFoundCallback {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  const BOOL isSent =
      geoloomMapSessionListNearbyMaps(native_, GeoloomTextOf(userID), longitude, latitude, longitudeDelta,
                                      latitudeDelta, GeoloomMapsClosureOf(mapsFoundCallback));
  [pool release];
  return isSent;
}

- (MapMode)mapSessionMode {
  return geoloomMapSessionMode(native_);
}

- (NSString*)mapSessionUUID {
  return GeoloomStringOf(geoloomMapSessionUUID(native_));
}

- (NSString*)mappingUUID {
  return GeoloomStringOf(geoloomMapSessionMappingUUID(native_));
}

- (NSString*)mapID {
  return GeoloomStringOf(geoloomMapSessionMapID(native_));
}

- (NSString*)userID {
  return GeoloomStringOf(geoloomMapSessionUserID(native_));
}

- (MapTransform*)lastTransform {
  SCNVector3 translation;
  float rotation;
  if (!geoloomMapSessionLastTransform(native_, &translation, &rotation)) return nil;
  return [[[MapTransform alloc] initWithTranslation:translation rotation:rotation] autorelease];
}

@end
