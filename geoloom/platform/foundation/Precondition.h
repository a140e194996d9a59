#pragma once

#include "geoloom/Export.h"

namespace geoloom::platform {

/// Prints "file:line: precondition failed: message" on standard error and aborts.
[[noreturn]] GEOLOOM_EXPORT void preconditionFailed(const char* file, int line, const char* message);

}  // namespace geoloom::platform

/// States what a caller must respect. Checked, with an abort, in builds without NDEBUG; in the others the
/// condition is compiled but never evaluated.
#ifdef NDEBUG
#define GEOLOOM_PRECONDITION(condition, message) (static_cast<void>(sizeof((condition) ? 1 : 0)))
#else
#define GEOLOOM_PRECONDITION(condition, message) \
  ((condition) ? static_cast<void>(0) : ::geoloom::platform::preconditionFailed(__FILE__, __LINE__, message))
#endif
