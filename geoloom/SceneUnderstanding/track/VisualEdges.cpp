#include "geoloom/SceneUnderstanding/track/VisualEdges.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "geoloom/SceneUnderstanding/draw/DetectionOverlay.h"

namespace geoloom {
namespace {

using platform::SCNVector3;

constexpr float REACH = 1;
constexpr double LINE_RADIUS = 0.001;

bool isFinite(const SCNVector3& p) {
  return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

BoundingBox3D boxAround(const SCNVector3& p, float reach) {
  return {p.x - reach, p.x + reach, p.y - reach, p.y + reach, p.z - reach, p.z + reach};
}

std::uint64_t keyOf(VisualEdges::Number from, VisualEdges::Number to) {
  return static_cast<std::uint64_t>(from) << 32U | to;
}

}  // namespace

void VisualEdges::place(Number object, std::optional<SCNVector3> center) {
  if (object >= objects_.size()) objects_.resize(std::size_t{object} + 1);
  Object& placed = objects_[object];
  placed.center = center && isFinite(*center) ? center : std::nullopt;
  if (!std::exchange(placed.hasChanged, true)) changed_.push_back(object);
}

void VisualEdges::draw(platform::SCNScene& scene) {
  for (const Number object : changed_) reindex(object);
  for (const Number object : changed_) relink(object);
  changed_.clear();

  for (const Number from : joined_) {
    const SCNVector3 start = *objects_[from].center;
    for (Line& line : objects_[from].lines) {
      const SCNVector3 end = *objects_[line.to].center;
      if (!line.isDrawn || line.start != start || line.end != end) {
        lineNode(*line.node, start, end, LINE_RADIUS, platform::UIColor::purpleColor());
        line.isDrawn = true;
        line.start = start;
        line.end = end;
      }
      scene.rootNode()->addChildNode(line.node);
    }
  }
}

void VisualEdges::reindex(Number object) {
  Object& moved = objects_[object];
  moved.hasChanged = false;
  if (moved.indexed) centers_.remove(object, boxAround(*moved.indexed, 0));
  if (moved.center) centers_.insert(object, boxAround(*moved.center, 0));
  moved.indexed = moved.center;
}

void VisualEdges::relink(Number object) {
  neighbours_.clear();
  if (objects_[object].center) collectNeighbours(*objects_[object].center, neighbours_);

  // Backwards, because unlinking takes lines out.
  for (std::size_t i = objects_[object].lines.size(); i-- > 0;) {
    const Number other = objects_[object].lines[i].to;
    if (std::binary_search(neighbours_.begin(), neighbours_.end(), other)) continue;
    unlink(object, other);
    if (other != object) unlink(other, object);
  }
  for (const Number other : neighbours_) {
    link(object, other);
    if (other != object) link(other, object);
  }
}

void VisualEdges::collectNeighbours(const SCNVector3& center, std::vector<Number>& neighbours) const {
  centers_.collect(boxAround(center, REACH), neighbours);
  std::erase_if(neighbours,
                [&](Number other) { return !(objects_[other].center->distance(center) <= REACH); });
  std::sort(neighbours.begin(), neighbours.end());
}

namespace {

template <class Lines>
auto positionOf(Lines& lines, VisualEdges::Number to) {
  return std::lower_bound(lines.begin(), lines.end(), to,
                          [](const auto& line, VisualEdges::Number wanted) { return line.to < wanted; });
}

}  // namespace

void VisualEdges::link(Number from, Number to) {
  std::vector<Line>& lines = objects_[from].lines;
  const auto at = positionOf(lines, to);
  if (at != lines.end() && at->to == to) return;
  if (lines.empty()) joined_.insert(std::lower_bound(joined_.begin(), joined_.end(), from), from);
  auto& node = nodes_[keyOf(from, to)];
  if (!node) node = std::make_shared<platform::SCNNode>();
  lines.insert(at, {.to = to, .node = node});
}

void VisualEdges::unlink(Number from, Number to) {
  std::vector<Line>& lines = objects_[from].lines;
  const auto at = positionOf(lines, to);
  at->node->removeFromParentNode();
  lines.erase(at);
  if (lines.empty()) joined_.erase(std::lower_bound(joined_.begin(), joined_.end(), from));
}

std::map<std::string, std::shared_ptr<platform::SCNNode>> VisualEdges::nodes() const {
  std::map<std::string, std::shared_ptr<platform::SCNNode>> named;
  for (const auto& [key, node] : nodes_) {
    named.emplace(std::to_string(key >> 32U) + "|" + std::to_string(key & 0xFFFFFFFFU), node);
  }
  return named;
}

}  // namespace geoloom
