#pragma once

#include <string>
#include <string_view>

namespace geoloom::base {

/// The text in a form that is safe to print on one line of a terminal: control and format characters (such as
/// line breaks and terminal escapes) and bytes that are not UTF-8 are escaped: "\n", "\u{1b}", "\xff".
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace geoloom::base
