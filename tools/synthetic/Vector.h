#pragma once

#include <array>
#include <cmath>
#include <cstddef>

/// The little vector arithmetic of the renderer: columns of three doubles in metres.
namespace geoloom::tools {

using Vector = std::array<double, 3>;

inline Vector operator+(const Vector& a, const Vector& b) {
  return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
inline Vector operator-(const Vector& a, const Vector& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline Vector operator*(double s, const Vector& v) {
  return {s * v[0], s * v[1], s * v[2]};
}
inline double dot(const Vector& a, const Vector& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline Vector cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline Vector normalized(const Vector& v) {
  return (1 / std::sqrt(dot(v, v))) * v;
}

}  // namespace geoloom::tools
