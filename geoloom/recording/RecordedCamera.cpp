#include "geoloom/recording/RecordedCamera.h"

#include <algorithm>
#include <cmath>

namespace geoloom {
namespace {

using Vector = std::array<double, 3>;
using Rows = std::array<std::array<double, 3>, 3>;

Rows product(const Rows& a, const Rows& b) {
  Rows c{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) c[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
  }
  return c;
}

Vector product(const Rows& a, const Vector& v) {
  Vector r{};
  for (std::size_t i = 0; i < 3; ++i) r[i] = a[i][0] * v[0] + a[i][1] * v[1] + a[i][2] * v[2];
  return r;
}

Rows rotationOf(const std::array<double, 4>& quaternion) {
  const auto& [x, y, z, w] = quaternion;
  return {{{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)},
           {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)},
           {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)}}};
}

}  // namespace

Vector RigidTransform::apply(const Vector& point) const {
  Vector r = product(rotation, point);
  for (std::size_t i = 0; i < 3; ++i) r[i] += translation[i];
  return r;
}

platform::simd_float4x4 RigidTransform::matrix() const {
  platform::simd_float4x4 m;
  for (std::size_t column = 0; column < 3; ++column) {
    m.columns[column] = {static_cast<float>(rotation[0][column]), static_cast<float>(rotation[1][column]),
                         static_cast<float>(rotation[2][column]), 0};
  }
  m.columns[3] = {static_cast<float>(translation[0]), static_cast<float>(translation[1]),
                  static_cast<float>(translation[2]), 1};
  return m;
}

RigidTransform operator*(const RigidTransform& a, const RigidTransform& b) {
  return {product(a.rotation, b.rotation), a.apply(b.translation)};
}

Vector yUp(const Vector& zUp) {
  return {zUp[0], zUp[2], -zUp[1]};
}

RigidTransform uprightCamera(const TimedPose& pose) {
  constexpr Rows WORLD_TURN{{{1, 0, 0}, {0, 0, 1}, {0, -1, 0}}};
  constexpr Rows CAMERA_TURN{{{1, 0, 0}, {0, -1, 0}, {0, 0, -1}}};
  return {product(product(WORLD_TURN, rotationOf(pose.quaternion)), CAMERA_TURN), yUp(pose.position)};
}

RigidTransform sensorCamera(const RigidTransform& uprightCamera) {
  constexpr Rows TURN{{{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}}};
  return {product(uprightCamera.rotation, TURN), uprightCamera.translation};
}

RigidTransform sessionFromWorld(const RigidTransform& uprightCamera) {
  const Rows& r = uprightCamera.rotation;
  constexpr double VERTICAL = 1e-3;
  double x = r[0][2];
  double z = r[2][2];
  if (std::hypot(x, z) < VERTICAL) {
    // When the camera looks down, the picture's upper edge points ahead; when it looks up, the lower edge.
    const double side = r[1][2] > 0 ? -1 : 1;
    x = side * r[0][1];
    z = side * r[2][1];
  }
  const double heading = std::atan2(x, z);
  const double c = std::cos(heading);
  const double s = std::sin(heading);
  RigidTransform result;
  result.rotation = {{{c, 0, -s}, {0, 1, 0}, {s, 0, c}}};
  const Vector& p = uprightCamera.translation;
  result.translation = product(result.rotation, Vector{-p[0], -p[1], -p[2]});
  return result;
}

PortraitWindow portraitWindow(std::size_t width, std::size_t height, double aspect) {
  const auto atLeastOne = [](double pixels, std::size_t most) {
    return std::clamp<std::size_t>(static_cast<std::size_t>(std::lround(pixels)), 1, most);
  };
  PortraitWindow window;
  window.width = atLeastOne(static_cast<double>(height) * aspect, width);
  window.height = atLeastOne(static_cast<double>(window.width) / aspect, height);
  window.x = (width - window.width) / 2;
  window.y = (height - window.height) / 2;
  return window;
}

TUMCalibration sensorCalibration(const TUMCalibration& upright, const PortraitWindow& window) {
  const double cx = upright.cx - static_cast<double>(window.x);
  const double cy = upright.cy - static_cast<double>(window.y);
  return {upright.fy, upright.fx, cy, static_cast<double>(window.width) - 1 - cx};
}

}  // namespace geoloom
