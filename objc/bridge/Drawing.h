#pragma once

#include "objc/GeoloomObjC/Drawing.h"
#include "objc/bridge/Native.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Scenes and layers: see geoloom/platform/scene/ and geoloom/platform/ui/CALayer.h.

GeoloomNative* geoloomARSCNViewScene(const GeoloomNative* view);
/// The root of an immutable copy of the scene.
GeoloomNative* geoloomSceneSnapshot(const GeoloomNative* scene);

typedef struct {
  SCNVector3 position;
  SCNVector4 orientation;
  SCNVector3 scale;
  SCNShape shape;
  double width;
  double height;
  double length;
  double radius;
  GeoloomColor color;
  GeoloomText string;
  GeoloomText fontName;
  double fontSize;
} GeoloomNode;

GeoloomNode geoloomNode(const GeoloomNative* node);
GeoloomObjects geoloomNodeChildren(const GeoloomNative* node);

typedef enum { GEOLOOM_PLAIN_LAYER, GEOLOOM_SHAPE_LAYER, GEOLOOM_TEXT_LAYER } GeoloomLayerKind;

typedef struct {
  GeoloomLayerKind kind;
  bool isHidden;
  GeoloomColor fillColor;
  GeoloomColor strokeColor;
  double lineWidth;
  GeoloomText string;
  double fontSize;
  GeoloomColor foregroundColor;
} GeoloomLayer;

GeoloomNative* geoloomUIViewLayer(const GeoloomNative* view);
GeoloomLayer geoloomLayer(const GeoloomNative* layer);
GeoloomObjects geoloomLayerSublayers(const GeoloomNative* layer);

#ifdef __cplusplus
}
#endif
