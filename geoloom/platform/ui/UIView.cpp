#include "geoloom/platform/ui/UIView.h"

namespace geoloom::platform {

UIView::UIView(CGRect frame) : frame_(frame), layer_(std::make_shared<CALayer>()) {}

UIView::~UIView() = default;

}  // namespace geoloom::platform
