#pragma once

#include "geoloom/Export.h"

namespace geoloom::base {

/// Prints "file:line: precondition failed: message" on standard error and aborts.
[[noreturn]] GEOLOOM_EXPORT void preconditionFailed(const char* file, int line, const char* message);

}  // namespace geoloom::base

/// A condition that the caller must meet, else the program aborts. GEOLOOM_PRECONDITION is checked in builds
/// without NDEBUG only; in others it is compiled but not evaluated. GEOLOOM_REQUIRE is checked in every
/// build: for functions of applications whose check costs little beside their work.
#define GEOLOOM_REQUIRE(condition, message) \
  ((condition) ? static_cast<void>(0) : ::geoloom::base::preconditionFailed(__FILE__, __LINE__, message))
#ifdef NDEBUG
#define GEOLOOM_PRECONDITION(condition, message) (static_cast<void>(sizeof((condition) ? 1 : 0)))
#else
#define GEOLOOM_PRECONDITION(condition, message) GEOLOOM_REQUIRE(condition, message)
#endif
