#pragma once

#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/scene/SCNNode.h"

namespace geoloom::platform {

/// A tree of nodes in world coordinates (metres, y vertical). May be used from any thread, like SCNNode.
class GEOLOOM_EXPORT SCNScene final : public NSObject {
 public:
  SCNScene();
  ~SCNScene() override;

  [[nodiscard]] const std::shared_ptr<SCNNode>& rootNode() const { return rootNode_; }

  /// A copy of the whole scene, for a renderer to traverse while other threads change the scene.
  [[nodiscard]] SCNNodeSnapshot snapshot() const { return rootNode_->snapshot(); }

 private:
  std::shared_ptr<SCNNode> rootNode_;
};

}  // namespace geoloom::platform
