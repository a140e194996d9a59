#pragma once

#include <array>

namespace geoloom::platform {

struct simd_float3 {
  float x = 0;
  float y = 0;
  float z = 0;
  friend bool operator==(const simd_float3&, const simd_float3&) = default;
};

struct simd_float4 {
  float x = 0;
  float y = 0;
  float z = 0;
  float w = 0;
  friend bool operator==(const simd_float4&, const simd_float4&) = default;
};

/// Column-major, as in the frameworks: columns[3] of a pose is its translation. The default is the identity.
struct simd_float4x4 {
  std::array<simd_float4, 4> columns{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  friend bool operator==(const simd_float4x4&, const simd_float4x4&) = default;
};

/// Column-major. Camera intrinsics have the columns (fx, 0, 0), (0, fy, 0), (cx, cy, 1).
struct simd_float3x3 {
  std::array<simd_float3, 3> columns{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  friend bool operator==(const simd_float3x3&, const simd_float3x3&) = default;
};

}  // namespace geoloom::platform
