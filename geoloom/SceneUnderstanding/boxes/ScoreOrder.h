#pragma once

#include <cmath>

namespace geoloom {

/// Highest score first. A strict weak order for every input, which plain `>` is not: NaNs are equal to each
/// other and come last.
template <class Score>
[[nodiscard]] bool scoresHigher(Score a, Score b) {
  return a > b || (!std::isnan(a) && std::isnan(b));
}

}  // namespace geoloom
