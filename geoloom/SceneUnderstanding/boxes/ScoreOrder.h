#pragma once

#include <cmath>

namespace geoloom {

/// Highest score first. Unlike plain `>`, a strict weak order for all inputs: NaNs are equal to each other
/// and come last.
template <class Score>
[[nodiscard]] bool scoresHigher(Score a, Score b) {
  return a > b || (!std::isnan(a) && std::isnan(b));
}

}  // namespace geoloom
