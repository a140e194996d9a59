#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/synthetic/Furniture.h"
#include "tools/synthetic/Vector.h"

namespace geoloom::tools {

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

/// A parallelogram that gives light to the side of right x down: its corner, edges and radiance.
struct Lamp {
  Vector corner;
  Vector right;
  Vector down;
  Vector radiance;  ///< red, green, blue; a white surface lit by 1 from all sides is white in the picture
};

struct Rendered {
  platform::PNGImage colours;   ///< RGB, 8 bits
  std::vector<float> distance;  ///< metres along the camera's axis, a pixel each; 0 where nothing is seen
};

class Renderer;

/// A thing that moves from picture to picture, drawn by itself. It takes light from the room and darkens the
/// floor under it, but throws no other shadow.
struct Moving {
  const Renderer* thing;  ///< of its mesh, whose front looks along -y
  Vector at{};            ///< where the mesh's origin is
  double facing = 0;      ///< degrees from +x towards +y
};

/// Draws a still world by rays. Light from lamps, bounced once by surfaces, is worked out where it is first
/// seen, on a net of points a few centimetres apart, and kept: soft shadows, darker contacts and corners, and
/// no flicker from frame to frame. `render` may run on several threads at once; pictures do not depend on
/// their order.
class Renderer {
 public:
  Renderer(const Mesh& mesh, const std::vector<Lamp>& lamps);
  ~Renderer();
  Renderer(const Renderer&) = delete;
  Renderer& operator=(const Renderer&) = delete;

  [[nodiscard]] Rendered render(const Pinhole& camera, const View& view,
                                const std::vector<Moving>& moving = {}) const;

 private:
  struct World;
  class Guest;
  std::unique_ptr<World> world_;
};

}  // namespace geoloom::tools
