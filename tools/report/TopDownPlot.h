#pragma once

#include <optional>
#include <utility>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/replay/Placements.h"
#include "tools/replay/Trace.h"

namespace geoloom::tools {

/// A motion over ground: a turn about the vertical (rows (cos, 0, sin), (0, 1, 0), (-sin, 0, cos)), then a
/// shift.
struct GroundMotion {
  double angle = 0;
  double x = 0;
  double z = 0;

  [[nodiscard]] std::pair<double, double> apply(double px, double pz) const;
  [[nodiscard]] GroundMotion inverse() const;
};

/// From the localization session's coordinates to the map's; nothing without a transform.
[[nodiscard]] std::optional<GroundMotion> mapFromSession(const Trace& localization);

/// The error that the service predicted for the assets in its last answer, metres; nothing if it did not, or
/// without relocalized assets.
[[nodiscard]] std::optional<double> predictedErrorOf(const Trace& localization);

/// Where the assets truly are, in the map's coordinates: `truth` is given in those of the localization's
/// recording, as for errorsOf. Nothing without a transform.
[[nodiscard]] std::vector<Placement> trueAssetsInMap(const Trace& localization, const Placements& truth);

/// The room from above, a wall at the top: both walks, the assets as placed and where they came back, with
/// the predicted error as a ring, and, if known, as they really are; walls and furniture if a truth.json
/// beside the mapping's recording tells them (docs/rooms.md). With `tracked`, also the boxes of well-seen
/// objects.
[[nodiscard]] platform::PNGImage topDownPlot(const Trace& mapping, const Trace& localization,
                                             const std::optional<Placements>& truth, bool tracked);

}  // namespace geoloom::tools
