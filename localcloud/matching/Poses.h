#pragma once

#include <vector>

#include "localcloud/matching/Evidence.h"

namespace geoloom::localcloud {

/// Distinct poses that explain the scene, by decreasing evidence. Each starts from two candidate pairs that a
/// rotation about the vertical and a translation can bring together. Bounded work.
[[nodiscard]] std::vector<Pose> findPoses(const Scene& scene);

}  // namespace geoloom::localcloud
