#pragma once

#include <sys/resource.h>

namespace geoloom::base {

/// Raises the process's limit on open files as far as the system permits; the usual limit is 1,024. For
/// programs with many connections.
inline void allowManyOpenFiles() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace geoloom::base
