#pragma once

#include "objc/GeoloomObjC/SCNVector3.h"
#include "objc/bridge/Closures.h"
#include "objc/bridge/Native.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The classes of geoloom/platform/ that sessions use.

GeoloomNative* geoloomARSessionMake(void);
/// Replaces the closure that is called with every frame.
void geoloomARSessionSetDidUpdateFrame(GeoloomNative* session, GeoloomObjectsClosure closure);
/// A reference, or NULL before the first frame.
GeoloomNative* geoloomARSessionCurrentFrame(const GeoloomNative* session);
void geoloomARSessionDeliver(GeoloomNative* session, const GeoloomNative* frame);

typedef struct {
  /// Rows of BGRA, copied.
  const void* pixels;
  size_t width;
  size_t height;
  size_t bytesPerRow;
  /// Column-major.
  const float* transform;
  const float* intrinsics;
  const SCNVector3* featurePoints;
  size_t featurePointCount;
  double timestamp;
} GeoloomFrame;

/// NULL for an image without pixels or with rows too short for them.
GeoloomNative* geoloomARFrameMake(const GeoloomFrame* frame);
double geoloomARFrameTimestamp(const GeoloomNative* frame);

typedef struct {
  double x;
  double y;
  double width;
  double height;
} GeoloomRect;

GeoloomNative* geoloomUIViewMake(GeoloomRect frame);
GeoloomRect geoloomUIViewFrame(const GeoloomNative* view);

GeoloomNative* geoloomARSCNViewMake(GeoloomRect frame);
void geoloomARSCNViewSetSession(GeoloomNative* view, const GeoloomNative* session);

/// A task of the main queue, run once.
typedef struct GeoloomTask GeoloomTask;
void geoloomTaskRun(GeoloomTask* task);

/// Hands the main queue over to `post`, which is called on any thread and must make the main thread run the
/// tasks in order. False if the main queue is already in use.
bool geoloomMainQueueHandOver(void (*post)(GeoloomTask* task));

#ifdef __cplusplus
}
#endif
