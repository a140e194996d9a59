#pragma once

#include <optional>
#include <string>
#include <vector>

#include "geoloom/platform/scene/SCNVector3.h"

#include "tools/replay/Placements.h"
#include "tools/replay/Trace.h"

namespace geoloom::tools {

/// One asset of the truth against where a localization session found it, in that session's coordinates.
struct AssetError {
  std::string id;
  platform::SCNVector3 truth;
  std::optional<platform::SCNVector3> found;
  double metres = 0;              ///< infinite unless it was found
  std::optional<double> degrees;  ///< between the true heading and the one found, 0 to 180
};

/// The truth must be given in the recording's coordinates. The last list of relocalized assets counts.
[[nodiscard]] std::vector<AssetError> errorsOf(const Trace& localization, const Placements& truth);

/// The middle one of the errors, or the mean of the two in the middle. Precondition: there is one.
[[nodiscard]] double medianOf(const std::vector<AssetError>& errors);

/// A table for people, one asset a line, headed.
[[nodiscard]] std::vector<std::string> tableOf(const std::vector<AssetError>& errors);

}  // namespace geoloom::tools
