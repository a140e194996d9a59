#include "geoloom/platform/ui/UIScreen.h"

#include <atomic>

namespace geoloom::platform {
namespace {
std::atomic<CGFloat> scaleOfMainScreen{1};
}  // namespace

CGFloat UIScreen::mainScale() {
  return scaleOfMainScreen;
}

void UIScreen::setMainScale(CGFloat scale) {
  scaleOfMainScreen = scale;
}

}  // namespace geoloom::platform
