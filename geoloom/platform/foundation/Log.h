#pragma once

#include <functional>
#include <string_view>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// Receives one line without its final line break; one inside it belongs to it. Called from any thread,
/// perhaps from several at once; no lock is held meanwhile. What it throws is swallowed. What it prints on
/// the stream that it serves goes to the default.
using LineSink = std::function<void(std::string_view line)>;

/// Service answers and progress. Standard output unless a sink is set; a line is written whole.
class GEOLOOM_EXPORT Console {
 public:
  static void print(std::string_view line);
  /// Replaces the sink; an empty one brings the default back. Returns when the old sink runs no more
  /// (at once when a sink calls).
  static void setSink(LineSink sink);
};

/// Directory operations and refusals. Unless a sink is set, the system's journal where there is one, else,
/// and for lines that it does not take, standard error; a line is written whole. The journal shows them under
/// the executable's name.
class GEOLOOM_EXPORT SystemLog {
 public:
  static void log(std::string_view line);
  static void setSink(LineSink sink);
};

}  // namespace geoloom::platform
