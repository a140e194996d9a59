#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process, which the fuzzer reports together with the input, when a promise of the reader's header
/// is not kept.
#define GEOLOOM_EXPECT(condition)                                                    \
  do {                                                                               \
    if (!(condition)) {                                                              \
      std::fprintf(stderr, "%s:%d: not kept: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                  \
    }                                                                                \
  } while (false)
