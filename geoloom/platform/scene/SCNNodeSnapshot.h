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

/// A node and everything below it as they were at one moment. Immutable; snapshots share what did not change
/// between them. May be read from any thread, for as long as one likes.
struct GEOLOOM_EXPORT SCNNodeSnapshot {
  SCNVector3 position;
  SCNQuaternion orientation;
  SCNVector3 scale{1, 1, 1};
  std::shared_ptr<const SCNGeometry> geometry;

  using Block = std::vector<SCNNodeSnapshot>;
  /// The children in order, in runs; no run is empty.
  std::vector<std::shared_ptr<const Block>> blocks;

  /// Takes the node's coordinates to its parent's: scale, then orientation, then position.
  [[nodiscard]] simd_float4x4 transform() const;

  /// Visits this node and all below it, parents before their children, children in order, with the transform
  /// that takes each node's coordinates to those in which this node stands.
  void forEachNode(
      const std::function<void(const SCNNodeSnapshot&, const simd_float4x4& transform)>& visit) const;

  [[nodiscard]] std::vector<const SCNNodeSnapshot*> children() const;
};

}  // namespace geoloom::platform
