#pragma once

#include <memory>

#include "geoloom/Export.h"
#include "geoloom/platform/ui/UIView.h"

namespace geoloom::platform {

class ARSession;
class SCNScene;

/// A view that shows a 3D scene over the camera's image. The fields belong to the application's main thread.
class GEOLOOM_EXPORT ARSCNView : public UIView {
 public:
  explicit ARSCNView(CGRect frame = {});
  ~ARSCNView() override;

  std::shared_ptr<ARSession> session;
  /// Present from construction on, and empty.
  std::shared_ptr<SCNScene> scene;
};

}  // namespace geoloom::platform
