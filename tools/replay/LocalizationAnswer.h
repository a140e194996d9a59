#pragma once

#include <optional>
#include <string>

#include "geoloom/platform/foundation/JSON.h"

#include "tools/replay/Trace.h"

namespace geoloom::tools {

/// What the mapping service's answer to a localize request says (docs/localcloud.md). Nothing if it has no
/// reason, as the answers of other services.
[[nodiscard]] std::optional<TracedLocalization> readLocalization(const platform::JSON& answer);

/// The same in one line: "localized: 5 objects, about 2 cm". `hasAnswer`: the session was localized before.
[[nodiscard]] std::string sentenceOf(const TracedLocalization& localization, bool hasAnswer);

}  // namespace geoloom::tools
