#pragma once

#include <functional>
#include <string_view>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// Receives one line; control characters and bytes that are not UTF-8 are escaped: "\n", "\u{1b}", "\xff".
/// Called from any thread, possibly from several at once, with no lock held. Its exceptions are swallowed.
/// Lines that a sink itself prints or logs go to the default output.
using LineSink = std::function<void(std::string_view line)>;

/// Service answers and progress. Lines go to standard output unless a sink is set, each in one piece.
class GEOLOOM_EXPORT Console {
 public:
  static void print(std::string_view line);
  /// Replaces the sink; an empty one restores the default. Returns when no call of the old sink is running,
  /// but at once if a sink calls it.
  static void setSink(LineSink sink);
};

/// Directory operations and rejected input. Unless a sink is set, lines go to the system's journal under the
/// executable's name, or to standard error if there is no journal or it does not accept the line, each in one
/// piece.
class GEOLOOM_EXPORT SystemLog {
 public:
  static void log(std::string_view line);
  static void setSink(LineSink sink);
};

}  // namespace geoloom::platform
