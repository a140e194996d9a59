#include "tools/synthetic/Renderer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace geoloom::tools {
namespace {

constexpr double depthUnitsPerMetre = 5000;

/// A value that grows linearly over the picture: it is linear in the direction (x, y, 1) of the pixel's ray.
struct Linear {
  double atOrigin;
  double perColumn;
  double perRow;

  Linear(const Vector& coefficients, const Pinhole& camera)
      : atOrigin(coefficients[2] - coefficients[0] * camera.centreX / camera.focal -
                 coefficients[1] * camera.centreY / camera.focal),
        perColumn(coefficients[0] / camera.focal),
        perRow(coefficients[1] / camera.focal) {}

  [[nodiscard]] double at(std::size_t x, std::size_t y) const {
    return atOrigin + perColumn * static_cast<double>(x) + perRow * static_cast<double>(y);
  }
};

Vector inCamera(const Vector& v, const View& view) {
  return {dot(v, view.right), dot(v, view.down), dot(v, view.forward)};
}

struct Box {
  std::size_t x0;
  std::size_t y0;
  std::size_t x1;  ///< exclusive
  std::size_t y1;
};

/// The part of the picture that a parallelogram can cover; all of it when a corner is beside or behind the
/// camera.
Box coveredPart(const Vector& corner, const Vector& right, const Vector& down, const Pinhole& camera) {
  const Box all{0, 0, camera.width, camera.height};
  constexpr double nearest = 0.05;
  double x0 = std::numeric_limits<double>::max();
  double x1 = std::numeric_limits<double>::lowest();
  double y0 = x0;
  double y1 = x1;
  for (const Vector& p : {corner, corner + right, corner + down, corner + right + down}) {
    if (p[2] < nearest) return all;
    const double x = camera.centreX + camera.focal * p[0] / p[2];
    const double y = camera.centreY + camera.focal * p[1] / p[2];
    x0 = std::min(x0, x);
    x1 = std::max(x1, x);
    y0 = std::min(y0, y);
    y1 = std::max(y1, y);
  }
  const auto within = [](double v, std::size_t size) {
    return static_cast<std::size_t>(std::clamp(v, 0.0, static_cast<double>(size)));
  };
  return {within(std::floor(x0), camera.width), within(std::floor(y0), camera.height),
          within(std::ceil(x1) + 1, camera.width), within(std::ceil(y1) + 1, camera.height)};
}

/// The picture in the making.
class Canvas {
 public:
  Canvas(const Pinhole& camera, const View& view)
      : camera_(camera),
        view_(view),
        inverseDepth_(camera.width * camera.height, 0.0F),
        colours_(camera.width * camera.height * 3, 0) {}

  /// With corner o, edges e1, e2 and normal n, the ray z * d meets the plane at 1/z = d.n / o.n, and its
  /// place on the parallelogram is s = z * d.a - o.a, t = z * d.b - o.b with a = e2 x n / |n|^2, b = n x e1 /
  /// |n|^2. The three products with d are linear over the picture.
  void draw(const Quad& quad) {
    const Vector o = inCamera(quad.corner - view_.position, view_);
    const Vector e1 = inCamera(quad.right, view_);
    const Vector e2 = inCamera(quad.down, view_);
    const Vector n = cross(e1, e2);
    const double distance = dot(o, n);
    if (std::abs(distance) < 1e-9) return;  // seen edge on
    const Vector a = (1 / dot(n, n)) * cross(e2, n);
    const Vector b = (1 / dot(n, n)) * cross(n, e1);
    const Linear inverse((1 / distance) * n, camera_);
    const Linear alongRight(a, camera_);
    const Linear alongDown(b, camera_);
    const double s0 = dot(o, a);
    const double t0 = dot(o, b);

    const Box box = coveredPart(o, e1, e2, camera_);
    for (std::size_t y = box.y0; y < box.y1; ++y) {
      for (std::size_t x = box.x0; x < box.x1; ++x) {
        const double inverseZ = inverse.at(x, y);
        const std::size_t pixel = y * camera_.width + x;
        if (inverseZ <= static_cast<double>(inverseDepth_[pixel]))
          continue;  // behind the camera or something nearer
        const double z = 1 / inverseZ;
        const double sFull = z * alongRight.at(x, y);
        const double tFull = z * alongDown.at(x, y);
        const double s = sFull - s0;
        const double t = tFull - t0;
        if (!(s >= 0 && s <= 1 && t >= 0 && t <= 1)) continue;
        inverseDepth_[pixel] = static_cast<float>(inverseZ);
        // How far the place moves from this pixel to the next ones, in texels.
        const auto step = [&](const Linear& along, double full, float texels) {
          const double columns = z * (along.perColumn - full * inverse.perColumn);
          const double rows = z * (along.perRow - full * inverse.perRow);
          return texels * static_cast<float>(std::max(std::abs(columns), std::abs(rows)));
        };
        const Texture& texture = *quad.texture;
        const float footprint = std::max(step(alongRight, sFull, texture.width() * quad.repeatRight),
                                         step(alongDown, tFull, texture.height() * quad.repeatDown));
        const Colour c = texture.sample(static_cast<float>(s) * quad.repeatRight,
                                        static_cast<float>(t) * quad.repeatDown, footprint);
        std::uint8_t* out = &colours_[pixel * 3];
        const auto byte = [&](float v) {
          return static_cast<std::uint8_t>(std::min(255.0F, v * quad.brightness + 0.5F));
        };
        out[0] = byte(c.red);
        out[1] = byte(c.green);
        out[2] = byte(c.blue);
      }
    }
  }

  [[nodiscard]] Rendered finish() && {
    std::vector<std::uint16_t> depth(inverseDepth_.size(), 0);
    for (std::size_t i = 0; i < depth.size(); ++i) {
      if (inverseDepth_[i] <= 0) continue;
      const double units = depthUnitsPerMetre / static_cast<double>(inverseDepth_[i]);
      if (units < 65535) depth[i] = static_cast<std::uint16_t>(std::lround(units));
    }
    return {{camera_.width, camera_.height, 3, std::move(colours_)},
            {camera_.width, camera_.height, 1, std::move(depth)}};
  }

 private:
  const Pinhole& camera_;
  const View& view_;
  std::vector<float> inverseDepth_;  ///< 1/m; 0 where nothing is drawn yet
  std::vector<std::uint8_t> colours_;
};

}  // namespace

Rendered render(const std::vector<Quad>& quads, const Pinhole& camera, const View& view) {
  Canvas canvas(camera, view);
  for (const Quad& quad : quads) canvas.draw(quad);
  return std::move(canvas).finish();
}

}  // namespace geoloom::tools
