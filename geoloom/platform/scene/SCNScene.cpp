#include "geoloom/platform/scene/SCNScene.h"

namespace geoloom::platform {

SCNScene::SCNScene() : rootNode_(std::make_shared<SCNNode>()) {}

SCNScene::~SCNScene() = default;

}  // namespace geoloom::platform
