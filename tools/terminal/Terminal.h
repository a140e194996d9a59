#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What commands print for people. Text from outside (answers of services, names in recordings and files) is
/// made harmless by base::printable here, so callers pass it on as it is.
namespace geoloom::tools {

/// One line on standard output. From any thread; main reports if standard output cannot be written.
void say(std::string_view line);
/// One line on standard error.
void complain(std::string_view line);

/// From now on say() prints on standard error, since standard output carries data (`--json -`).
void keepStandardOutputForData();

/// "1 asset", "2 assets".
[[nodiscard]] std::string counted(std::size_t count, std::string_view noun);

}  // namespace geoloom::tools
