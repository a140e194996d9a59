#pragma once

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace geoloom::base {

/// First thing in a program: a file opened later would take the place of a closed standard stream, and what
/// is printed would go into it.
inline void openMissingStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) != -1 || errno != EBADF) continue;
    static_cast<void>(::open("/dev/null", O_RDWR));  // the lowest free number, which is this one
  }
}

}  // namespace geoloom::base
