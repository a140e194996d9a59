#pragma once

#include <string>
#include <string_view>

#include "geoloom/platform/foundation/Clock.h"

namespace geoloom::platform {

/// `date` in the device's time zone by a pattern of two-letter fields: "yy" year, "MM" month, "dd" day, "HH"
/// hour of 24, "mm" minute, "ss" second, each with two digits; other characters are copied.
[[nodiscard]] std::string formatDate(Date date, std::string_view pattern);

}  // namespace geoloom::platform
