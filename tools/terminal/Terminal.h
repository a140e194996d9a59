#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Output of commands for people. These functions escape text with base::printable, so callers may pass text
/// from outside (answers of services, names in recordings and files).
namespace geoloom::tools {

/// One line on standard output. From any thread; main reports if standard output cannot be written.
void say(std::string_view line);
/// One line on standard error.
void complain(std::string_view line);

/// From now on say() prints on standard error, since standard output is used for data (`--json -`).
void keepStandardOutputForData();

/// "1 asset", "2 assets".
[[nodiscard]] std::string counted(std::size_t count, std::string_view noun);

}  // namespace geoloom::tools
