#include "geoloom/base/Precondition.h"

#include <cstdio>
#include <cstdlib>

namespace geoloom::base {

void preconditionFailed(const char* file, int line, const char* message) {
  std::fprintf(stderr, "%s:%d: precondition failed: %s\n", file, line, message);
  std::abort();
}

}  // namespace geoloom::base
