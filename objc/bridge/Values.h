#pragma once

#include "objc/GeoloomObjC/SCNVector3.h"
#include "objc/bridge/Native.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The values of the session's interface: see the headers of the same names in geoloom/session/.

typedef struct {
  GeoloomText assetID;
  SCNVector3 position;
  float orientation;
  float confidence;
} GeoloomMapAsset;

bool geoloomMapAssetsEqual(const GeoloomMapAsset* one, const GeoloomMapAsset* other);
/// Equal assets have equal hashes.
size_t geoloomMapAssetHash(const GeoloomMapAsset* asset);

typedef struct {
  GeoloomText userID;
  GeoloomText mapID;
  double latitude;
  double longitude;
  double altitude;
  double horizontalAccuracy;
  double verticalAccuracy;
} GeoloomMap;

GeoloomText geoloomDetectedObjectName(const GeoloomNative* object);
float geoloomDetectedObjectConfidence(const GeoloomNative* object);
SCNVector3 geoloomDetectedObjectCenter(const GeoloomNative* object);
float geoloomDetectedObjectHeight(const GeoloomNative* object);
GeoloomText geoloomDetectedObjectPrint(const GeoloomNative* object);

GeoloomNative* geoloomConfigurationMake(float sceneUnderstandingConfidenceThreshold,
                                        float featureMatchDistanceMeters);
float geoloomConfigurationThreshold(const GeoloomNative* configuration);
void geoloomConfigurationSetThreshold(GeoloomNative* configuration, float value);
float geoloomConfigurationDistance(const GeoloomNative* configuration);
void geoloomConfigurationSetDistance(GeoloomNative* configuration, float value);

/// The settings that all sessions share.
float geoloomConfidenceThreshold(void);
void geoloomSetConfidenceThreshold(float value);
long geoloomTimeoutThreshold(void);
void geoloomSetTimeoutThreshold(long value);
bool geoloomContinuouslyUpdatedRelocalization(void);
void geoloomSetContinuouslyUpdatedRelocalization(bool value);
bool geoloomUseBetaAlgo(void);
void geoloomSetUseBetaAlgo(bool value);
long geoloomRetrieveAssetsInterval(void);
void geoloomSetRetrieveAssetsInterval(long value);

typedef struct {
  GeoloomText production;
  GeoloomText beta;
  GeoloomText sceneUnderstanding;
  GeoloomText tables;
  GeoloomText metrics;
} GeoloomEndpoints;

/// The receiver frees the texts.
GeoloomEndpoints geoloomCurrentEndpoints(void);
GeoloomEndpoints geoloomEndpointsWithService(GeoloomText address);
void geoloomSetCurrentEndpoints(GeoloomEndpoints endpoints);

#ifdef __cplusplus
}
#endif
