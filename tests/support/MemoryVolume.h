#pragma once

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include <sched.h>
#include <sys/mount.h>

namespace geoloom::test {

/// Mounts a file system in memory over a directory, for this thread and those that it starts from now on; it
/// goes with them. `options` as mount(8) has them for tmpfs. Says why where it cannot; it takes the rights of
/// an administrator.
[[nodiscard]] inline std::string mountInMemory(const std::filesystem::path& directory, unsigned long flags,
                                               const char* options) {
  if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("none", directory.c_str(), "tmpfs", flags, options) != 0)
    return std::string("a volume cannot be mounted here: ") + std::strerror(errno);
  return {};
}

}  // namespace geoloom::test
