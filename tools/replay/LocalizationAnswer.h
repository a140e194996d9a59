#pragma once

#include <optional>
#include <string>

#include "geoloom/platform/foundation/JSON.h"

#include "tools/replay/Trace.h"

namespace geoloom::tools {

/// What the mapping service's answer to a localize request says (docs/localcloud.md). Nothing if it has no
/// reason, as the answers of other services.
[[nodiscard]] std::optional<TracedLocalization> readLocalization(const platform::JSON& answer);

/// The same in one plain line: "localized: 5 objects, about 2 cm".
[[nodiscard]] std::string sentenceOf(const TracedLocalization& localization);

}  // namespace geoloom::tools
