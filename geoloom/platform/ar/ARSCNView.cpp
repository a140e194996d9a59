#include "geoloom/platform/ar/ARSCNView.h"

#include "geoloom/platform/scene/SCNScene.h"

namespace geoloom::platform {

ARSCNView::ARSCNView(CGRect frame) : UIView(frame), scene(std::make_shared<SCNScene>()) {}

ARSCNView::~ARSCNView() = default;

}  // namespace geoloom::platform
