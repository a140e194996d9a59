#pragma once

#include <vector>

#include "geoloom/platform/imaging/PNG.h"

#include "tools/evaluate/Evaluation.h"

namespace geoloom::tools::evaluation {

/// A bar for each condition: the shares of sessions that were localized rightly, got no answer, and got a
/// wrong one.
[[nodiscard]] platform::PNGImage plotOf(const std::vector<ConditionResult>& results);

}  // namespace geoloom::tools::evaluation
