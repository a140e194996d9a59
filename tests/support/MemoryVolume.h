#pragma once

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include <sched.h>
#include <sys/mount.h>

namespace geoloom::test {

/// Mounts a file system in memory over a directory, for this thread and those that it starts from now on,
/// until they end. `options` are those of tmpfs in mount(8). Needs administrator rights; returns the reason
/// if it fails.
[[nodiscard]] inline std::string mountInMemory(const std::filesystem::path& directory, unsigned long flags,
                                               const char* options) {
  if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("none", directory.c_str(), "tmpfs", flags, options) != 0)
    return std::string("a volume cannot be mounted here: ") + std::strerror(errno);
  return {};
}

}  // namespace geoloom::test
