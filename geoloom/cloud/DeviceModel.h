#pragma once

#include <string>
#include <string_view>

#include "geoloom/Export.h"

namespace geoloom {

/// The product name of a hardware identifier, as the mapping service knows devices ("iPhone10,6" is an
/// "iPhone X"). An identifier without one comes back unchanged; "x86_64" is known, and is a "Simulator".
[[nodiscard]] GEOLOOM_EXPORT std::string modelName(std::string_view identifier);

}  // namespace geoloom
