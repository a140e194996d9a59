#pragma once

#include <string>
#include <string_view>

namespace geoloom {

/// The product name of a hardware identifier, as sent to the mapping service: "iPhone X" for "iPhone10,6",
/// "Simulator" for "x86_64". An unlisted identifier is returned unchanged.
[[nodiscard]] std::string modelName(std::string_view identifier);

}  // namespace geoloom
