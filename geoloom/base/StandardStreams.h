#pragma once

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace geoloom::base {

/// Opens /dev/null for each closed standard stream. Call it first in `main`: otherwise a file opened later
/// would get the stream's number and receive the program's output.
inline void openMissingStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) != -1 || errno != EBADF) continue;
    static_cast<void>(::open("/dev/null", O_RDWR));  // gets the lowest free number, `stream`
  }
}

}  // namespace geoloom::base
