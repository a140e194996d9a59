#pragma once

#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/ui/UIView.h"

namespace geoloom::platform {

class ARSession;
class SCNScene;

/// A view that shows a 3D scene over the camera's image. Use the fields on the application's main thread
/// only.
class GEOLOOM_EXPORT ARSCNView : public UIView {
 public:
  explicit ARSCNView(CGRect frame = {});
  ~ARSCNView() override;

  std::shared_ptr<ARSession> session;
  /// Initially an empty scene.
  std::shared_ptr<SCNScene> scene;
};

}  // namespace geoloom::platform
