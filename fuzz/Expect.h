#pragma once

#include <cstdio>
#include <cstdlib>

/// Checks a promise of the reader's header. If it is broken, the process ends and the fuzzer reports the
/// input.
#define GEOLOOM_EXPECT(condition)                                                    \
  do {                                                                               \
    if (!(condition)) {                                                              \
      std::fprintf(stderr, "%s:%d: not kept: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                  \
    }                                                                                \
  } while (false)
