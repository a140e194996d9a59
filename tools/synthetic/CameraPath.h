#pragma once

#include <array>

#include "tools/synthetic/Random.h"
#include "tools/synthetic/Renderer.h"
#include "tools/synthetic/SceneDescription.h"

namespace geoloom::tools {

/// A smooth way through a walk's waypoints in a hand that is never quite still.
class CameraPath {
 public:
  /// Precondition: two waypoints or more. `seed` chooses how the hand trembles.
  CameraPath(const WalkDescription& walk, unsigned seed);

  [[nodiscard]] double duration() const;
  /// Where the camera is and looks `seconds` after the start.
  [[nodiscard]] View at(double seconds) const;

 private:
  /// A sum of slow and quicker swings, within about `amplitude`.
  class Tremble {
   public:
    Tremble(Random& random, double amplitude);
    [[nodiscard]] double at(double seconds) const;

   private:
    struct Swing {
      double amplitude;
      double frequency;  ///< radians a second
      double phase;
    };
    std::array<Swing, 3> swings_;
  };

  const WalkDescription& walk_;
  std::vector<double> times_;
  std::vector<Tremble> place_;  ///< metres along x, y, z
  std::vector<Tremble> turn_;   ///< radians: yaw, pitch, roll
};

/// An upright view from one point towards another.
[[nodiscard]] View lookingAt(const Vector& position, const Vector& target);

/// x, y, z, w of the rotation from camera (x right, y down, z forward) to world.
[[nodiscard]] std::array<double, 4> quaternionOf(const View& view);

}  // namespace geoloom::tools
