#pragma once

#include <string>
#include <string_view>

namespace geoloom::base {

/// The text as it may be shown on a terminal, on one line. Control and format characters, among them line
/// breaks and terminal escapes, and bytes that are not UTF-8 are escaped: "\n", "\u{1b}", "\xff".
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace geoloom::base
