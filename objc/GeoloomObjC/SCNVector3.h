#pragma once

/// A point or a vector in metres; y is the vertical axis.
typedef struct SCNVector3 {
  float x;
  float y;
  float z;
} SCNVector3;

static inline SCNVector3 SCNVector3Make(float x, float y, float z) {
  const SCNVector3 vector = {x, y, z};
  return vector;
}
