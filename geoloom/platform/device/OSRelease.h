#pragma once

#include <string>
#include <string_view>

namespace geoloom::platform {

/// The value of `key` in the text of an os-release file (lines of KEY=value in shell syntax; the last one
/// counts), without its quotation marks; empty if there is none.
[[nodiscard]] std::string osReleaseValue(std::string_view text, std::string_view key);

}  // namespace geoloom::platform
