#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/synthetic/Texture.h"
#include "tools/synthetic/Vector.h"

namespace geoloom::tools {

/// A flat textured parallelogram, seen from both sides.
struct Quad {
  Vector corner;  ///< upper left corner as seen from the front
  Vector right;   ///< along the upper edge, its length included
  Vector down;    ///< along the left edge
  std::shared_ptr<const Texture> texture;
  float repeatRight = 1;  ///< how often the texture fits along an edge
  float repeatDown = 1;
  float brightness = 1;
};

/// Where a picture is taken: x right, y down, z forward, as unit vectors of the world.
struct View {
  Vector position;
  Vector right;
  Vector down;
  Vector forward;
};

/// A pinhole camera; pixel centres are at whole numbers.
struct Pinhole {
  std::size_t width = 640;
  std::size_t height = 480;
  double focal = 525;
  double centreX = 319.5;
  double centreY = 239.5;
};

struct Rendered {
  platform::PNGImage colours;  ///< RGB, 8 bits
  platform::PNGImage depth;    ///< gray, 16 bits: 1/5000 m along the camera's axis, 0 where nothing is seen
};

/// Draws the quads, the nearest in front. May run on several threads at once.
[[nodiscard]] Rendered render(const std::vector<Quad>& quads, const Pinhole& camera, const View& view);

}  // namespace geoloom::tools
