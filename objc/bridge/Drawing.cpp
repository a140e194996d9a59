#include "objc/bridge/Drawing.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <utility>
#include <variant>
#include <vector>

#include "geoloom/platform/ar/ARSCNView.h"
#include "geoloom/platform/scene/SCNScene.h"
#include "geoloom/platform/ui/UIView.h"

#include "objc/bridge/Support.h"

using namespace geoloom;
using bridge::copied;
using bridge::guarded;
using bridge::with;
using platform::SCNNodeSnapshot;

namespace {

/// A node of a snapshot, which it keeps alive.
class Node final : public platform::NSObject {
 public:
  explicit Node(std::shared_ptr<const SCNNodeSnapshot> node) : node_(std::move(node)) {}
  [[nodiscard]] const std::shared_ptr<const SCNNodeSnapshot>& node() const { return node_; }

 private:
  std::shared_ptr<const SCNNodeSnapshot> node_;
};

GeoloomColor color(const platform::UIColor& color) {
  return {color.red, color.green, color.blue, color.alpha};
}

SCNVector3 vector(const platform::SCNVector3& v) {
  return {v.x, v.y, v.z};
}

void describe(const platform::SCNPyramid& shape, GeoloomNode& node) {
  node.shape = SCNShapePyramid;
  node.width = shape.width;
  node.height = shape.height;
  node.length = shape.length;
}
void describe(const platform::SCNText& shape, GeoloomNode& node) {
  node.shape = SCNShapeText;
  node.length = shape.extrusionDepth;
  node.string = copied(shape.string);
  node.fontName = copied(shape.font.name);
  node.fontSize = shape.font.size;
}
void describe(const platform::SCNCylinder& shape, GeoloomNode& node) {
  node.shape = SCNShapeCylinder;
  node.radius = shape.radius;
  node.height = shape.height;
}
void describe(const platform::SCNSphere& shape, GeoloomNode& node) {
  node.shape = SCNShapeSphere;
  node.radius = shape.radius;
}

template <class Objects>
GeoloomObjects references(const Objects& objects) {
  auto** const array = static_cast<GeoloomNative**>(std::calloc(objects.size() + 1, sizeof(GeoloomNative*)));
  if (array == nullptr) throw std::bad_alloc();
  GeoloomObjects result{array, 0};
  for (const auto& object : objects) array[result.count++] = bridge::reference(object);
  return result;
}

}  // namespace

GeoloomNative* geoloomARSCNViewScene(const GeoloomNative* native) {
  return with<platform::ARSCNView>(native, "scene",
                                   [](const auto& view) { return bridge::reference(view.scene); });
}

GeoloomNative* geoloomSceneSnapshot(const GeoloomNative* native) {
  return with<platform::SCNScene>(native, "snapshot", [](const auto& scene) {
    return bridge::reference(
        std::make_shared<Node>(std::make_shared<const SCNNodeSnapshot>(scene.snapshot())));
  });
}

GeoloomNode geoloomNode(const GeoloomNative* native) {
  return with<Node>(native, "SCNNodeSnapshot", [](const Node& held) {
    const SCNNodeSnapshot& node = *held.node();
    const auto& turn = node.orientation;
    GeoloomNode values{};
    values.position = vector(node.position);
    values.orientation = {turn.x, turn.y, turn.z, turn.w};
    values.scale = vector(node.scale);
    if (node.geometry) {
      std::visit([&](const auto& shape) { describe(shape, values); }, node.geometry->shape);
      values.color = color(node.geometry->firstMaterial.diffuse);
    }
    return values;
  });
}

GeoloomObjects geoloomNodeChildren(const GeoloomNative* native) {
  return with<Node>(native, "children", [](const Node& held) {
    std::vector<std::shared_ptr<Node>> children;
    for (const SCNNodeSnapshot* child : held.node()->children())
      children.push_back(std::make_shared<Node>(std::shared_ptr<const SCNNodeSnapshot>(held.node(), child)));
    return references(children);
  });
}

GeoloomNative* geoloomUIViewLayer(const GeoloomNative* native) {
  return with<platform::UIView>(native, "layer",
                                [](const auto& view) { return bridge::reference(view.layer()); });
}

GeoloomLayer geoloomLayer(const GeoloomNative* native) {
  return with<platform::CALayer>(native, "CALayer", [](const platform::CALayer& layer) {
    GeoloomLayer values{};
    values.isHidden = layer.isHidden();
    if (const auto* shape = dynamic_cast<const platform::CAShapeLayer*>(&layer)) {
      values.kind = GEOLOOM_SHAPE_LAYER;
      values.fillColor = color(shape->fillColor);
      values.strokeColor = color(shape->strokeColor);
      values.lineWidth = shape->lineWidth;
    } else if (const auto* text = dynamic_cast<const platform::CATextLayer*>(&layer)) {
      values.kind = GEOLOOM_TEXT_LAYER;
      values.string = copied(text->string);
      values.fontSize = text->fontSize;
      values.foregroundColor = color(text->foregroundColor);
    }
    return values;
  });
}

GeoloomObjects geoloomLayerSublayers(const GeoloomNative* native) {
  return with<platform::CALayer>(native, "sublayers",
                                 [](const auto& layer) { return references(layer.sublayers()); });
}
