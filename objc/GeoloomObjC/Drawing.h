#pragma once

#include <GeoloomObjC/SCNVector3.h>

/// A rotation as a unit quaternion with the real part w.
typedef struct SCNVector4 {
  float x;
  float y;
  float z;
  float w;
} SCNVector4;

/// Red, green, blue and opacity, each 0 to 1.
typedef struct GeoloomColor {
  double red;
  double green;
  double blue;
  double alpha;
} GeoloomColor;

/// The shapes that the kit draws. Sizes are in metres along the node's axes.
typedef enum SCNShape {
  SCNShapeNone,
  SCNShapePyramid,   ///< width along x, height along y, length along z
  SCNShapeText,      ///< `string` in `fontName` at `fontSize`; length is the depth along z
  SCNShapeCylinder,  ///< radius and height, axis along y
  SCNShapeSphere     ///< radius
} SCNShape;
