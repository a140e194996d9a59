#pragma once

#include "geoloom/platform/scene/SCNVector3.h"

namespace geoloom {

/// An axis-aligned box in world coordinates, metres.
struct BoundingBox3D {
  float minX = 0;
  float maxX = 0;
  float minY = 0;
  float maxY = 0;
  float minZ = 0;
  float maxZ = 0;
  friend bool operator==(const BoundingBox3D&, const BoundingBox3D&) = default;

  [[nodiscard]] platform::SCNVector3 center() const {
    return {(minX + maxX) / 2, (minY + maxY) / 2, (minZ + maxZ) / 2};
  }
};

}  // namespace geoloom
