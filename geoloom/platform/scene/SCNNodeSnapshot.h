#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/simd.h"
#include "geoloom/platform/scene/SCNGeometry.h"
#include "geoloom/platform/scene/SCNQuaternion.h"
#include "geoloom/platform/scene/SCNVector3.h"

namespace geoloom::platform {

/// An immutable copy of a node and its descendants. May be read from any thread.
struct GEOLOOM_EXPORT SCNNodeSnapshot {
  SCNVector3 position;
  SCNQuaternion orientation;
  SCNVector3 scale{1, 1, 1};
  std::shared_ptr<const SCNGeometry> geometry;

  /// In the order in which they were added.
  std::vector<SCNNodeSnapshot> childNodes;

  /// Maps the node's coordinates to its parent's: scale, then orientation, then position.
  [[nodiscard]] simd_float4x4 transform() const;

  /// Visits this node and its descendants, parents before children and children in order. `transform` maps
  /// the visited node's coordinates to those of this node's parent.
  void forEachNode(
      const std::function<void(const SCNNodeSnapshot&, const simd_float4x4& transform)>& visit) const;

  [[nodiscard]] std::vector<const SCNNodeSnapshot*> children() const;
};

}  // namespace geoloom::platform
