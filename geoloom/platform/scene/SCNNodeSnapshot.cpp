#include "geoloom/platform/scene/SCNNodeSnapshot.h"

namespace geoloom::platform {
namespace {

using Visit = std::function<void(const SCNNodeSnapshot&, const simd_float4x4&)>;

simd_float4 multiply(const simd_float4x4& m, const simd_float4& v) {
  const auto& c = m.columns;
  return {c[0].x * v.x + c[1].x * v.y + c[2].x * v.z + c[3].x * v.w,
          c[0].y * v.x + c[1].y * v.y + c[2].y * v.z + c[3].y * v.w,
          c[0].z * v.x + c[1].z * v.y + c[2].z * v.z + c[3].z * v.w,
          c[0].w * v.x + c[1].w * v.y + c[2].w * v.z + c[3].w * v.w};
}

void visitBelow(const SCNNodeSnapshot& node, const simd_float4x4& parent, const Visit& visit) {
  const simd_float4x4 own = node.transform();
  simd_float4x4 transform;
  for (std::size_t k = 0; k < 4; ++k) transform.columns[k] = multiply(parent, own.columns[k]);
  visit(node, transform);
  for (const SCNNodeSnapshot& child : node.childNodes) visitBelow(child, transform, visit);
}

}  // namespace

simd_float4x4 SCNNodeSnapshot::transform() const {
  const auto [x, y, z, w] = orientation;
  simd_float4x4 m;
  m.columns[0] = {(1 - 2 * (y * y + z * z)) * scale.x, 2 * (x * y + z * w) * scale.x,
                  2 * (x * z - y * w) * scale.x, 0};
  m.columns[1] = {2 * (x * y - z * w) * scale.y, (1 - 2 * (x * x + z * z)) * scale.y,
                  2 * (y * z + x * w) * scale.y, 0};
  m.columns[2] = {2 * (x * z + y * w) * scale.z, 2 * (y * z - x * w) * scale.z,
                  (1 - 2 * (x * x + y * y)) * scale.z, 0};
  m.columns[3] = {position.x, position.y, position.z, 1};
  return m;
}

void SCNNodeSnapshot::forEachNode(const Visit& visit) const {
  visitBelow(*this, {}, visit);
}

std::vector<const SCNNodeSnapshot*> SCNNodeSnapshot::children() const {
  std::vector<const SCNNodeSnapshot*> all;
  for (const SCNNodeSnapshot& child : childNodes) all.push_back(&child);
  return all;
}

}  // namespace geoloom::platform
