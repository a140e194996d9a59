#pragma once

#include <optional>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/replay/Placements.h"
#include "tools/replay/Trace.h"

namespace geoloom::tools {

/// The room from above in the map's coordinates, x to the right, z down: the way of the mapping session and
/// what it tracked, the same of the localization session moved by the transform that its relocalized assets
/// tell, the assets as relocalized and, where the truth is known, as they really are.
[[nodiscard]] platform::PNGImage topDownPlot(const Trace& mapping, const Trace& localization,
                                             const std::optional<Placements>& truth);

/// A motion over ground: a turn about the vertical (rows (cos, 0, sin), (0, 1, 0), (-sin, 0, cos)), then a
/// shift.
struct GroundMotion {
  double angle = 0;
  double x = 0;
  double z = 0;

  [[nodiscard]] std::pair<double, double> apply(double px, double pz) const;
};

/// The motion that brings the assets of `from` nearest to those of the same name in `to`; nothing for fewer
/// than two.
[[nodiscard]] std::optional<GroundMotion> motionBetween(const std::vector<TracedAsset>& from,
                                                        const std::vector<TracedAsset>& to);

}  // namespace geoloom::tools
