#pragma once

#include "objc/bridge/Closures.h"
#include "objc/bridge/Native.h"
#include "objc/bridge/Values.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The session: see geoloom/session/MapSession.h.

typedef struct {
  const GeoloomNative* arSession;
  long mapMode;
  GeoloomText userID;
  GeoloomText mapID;
  GeoloomText developerKey;
  double screenHeight;
  double screenWidth;
  const GeoloomNative* mapSessionConfiguration;
} GeoloomMapSession;

/// Absent if a session can be created.
GeoloomText geoloomMapSessionDetectionModelFault(void);

/// NULL, after a line in the system log, if an argument is missing or the mode is invalid.
GeoloomNative* geoloomMapSessionMake(const GeoloomMapSession* construction);

void geoloomMapSessionRegisterCallbacks(GeoloomNative* session, GeoloomAssetsClosure assetsFound,
                                        GeoloomNumberClosure status, GeoloomObjectsClosure objectDetected);
void geoloomMapSessionReset(GeoloomNative* session, const GeoloomNative* arSession);
void geoloomMapSessionUpdate(GeoloomNative* session, const GeoloomNative* frame);
void geoloomMapSessionVisualize(GeoloomNative* session, const GeoloomNative* view,
                                const GeoloomNative* scene);
bool geoloomMapSessionStorePlacement(GeoloomNative* session, const GeoloomMapAsset* assets, size_t count,
                                     GeoloomNumberClosure stored);
/// Of all users if `userID` is absent.
bool geoloomMapSessionListNearbyMaps(GeoloomNative* session, GeoloomText userID, double longitude,
                                     double latitude, double longitudeDelta, double latitudeDelta,
                                     GeoloomMapsClosure mapsFound);

long geoloomMapSessionMode(const GeoloomNative* session);
GeoloomText geoloomMapSessionUUID(const GeoloomNative* session);
GeoloomText geoloomMapSessionMappingUUID(const GeoloomNative* session);
GeoloomText geoloomMapSessionMapID(const GeoloomNative* session);
GeoloomText geoloomMapSessionUserID(const GeoloomNative* session);
/// False, without writing the results, if there is no transform yet.
bool geoloomMapSessionLastTransform(const GeoloomNative* session, SCNVector3* translation, float* rotation);

#ifdef __cplusplus
}
#endif
