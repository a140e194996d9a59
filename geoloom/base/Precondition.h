#pragma once

#include "geoloom/Export.h"

namespace geoloom::base {

/// Prints "file:line: precondition failed: message" on standard error and aborts.
[[noreturn]] GEOLOOM_EXPORT void preconditionFailed(const char* file, int line, const char* message);

}  // namespace geoloom::base

/// States what a caller must respect. Checked, with an abort, in builds without NDEBUG; in the others the
/// condition is compiled but never evaluated.
///
/// GEOLOOM_REQUIRE is checked in every build: for what applications call and whose check is nothing beside
/// its work.
#define GEOLOOM_REQUIRE(condition, message) \
  ((condition) ? static_cast<void>(0) : ::geoloom::base::preconditionFailed(__FILE__, __LINE__, message))
#ifdef NDEBUG
#define GEOLOOM_PRECONDITION(condition, message) (static_cast<void>(sizeof((condition) ? 1 : 0)))
#else
#define GEOLOOM_PRECONDITION(condition, message) GEOLOOM_REQUIRE(condition, message)
#endif
