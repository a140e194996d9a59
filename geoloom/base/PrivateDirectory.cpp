#include "geoloom/base/PrivateDirectory.h"

#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

#include "geoloom/base/Descriptor.h"

namespace geoloom::base {

namespace {

/// The parts of a name from the root down; empty if the name is rejected.
std::vector<std::string> partsBelowRoot(std::string_view name) {
  const std::filesystem::path path(name);
  if (path.is_absolute() || name.find('\0') != std::string_view::npos) return {};
  std::vector<std::string> parts;
  for (const auto& part : path) {
    if (part == "..") return {};
    if (!part.empty() && part != ".") parts.push_back(part.string());
  }
  return parts;
}

/// Opens the subdirectory `part`; fails for a symbolic link.
Descriptor enter(const Descriptor& directory, const std::string& part) {
  return Descriptor(::openat(directory.get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

Descriptor openRoot(const std::filesystem::path& root) {
  return Descriptor(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

bool createPrivateDirectories(const std::filesystem::path& directory) {
  std::error_code error;
  if (std::filesystem::is_directory(directory, error)) return true;
  const auto parent = directory.parent_path();
  if (parent == directory || !(parent.empty() || createPrivateDirectories(parent))) return false;
  // Another process may have created it meanwhile.
  return ::mkdir(directory.c_str(), S_IRWXU) == 0 || std::filesystem::is_directory(directory, error);
}

bool createPrivateDirectory(const std::filesystem::path& root, std::string_view name) {
  const auto parts = partsBelowRoot(name);
  if (parts.empty() || !createPrivateDirectories(root)) return false;
  Descriptor directory = openRoot(root);
  for (const auto& part : parts) {
    // If something else has that name, `enter` fails.
    ::mkdirat(directory.get(), part.c_str(), S_IRWXU);
    directory = enter(directory, part);
    if (!directory) return false;
    // An existing directory may be open to others. This fails without harm if another user owns it.
    ::fchmod(directory.get(), S_IRWXU);
  }
  return true;
}

bool removeBelow(const std::filesystem::path& root, std::string_view name) {
  auto parts = partsBelowRoot(name);
  if (parts.empty()) return false;
  const std::string last = std::move(parts.back());
  parts.pop_back();
  Descriptor directory = openRoot(root);
  for (const auto& part : parts) directory = enter(directory, part);
  if (!directory) return false;
  // Through the descriptor, since a link may have replaced the directory at the path. remove_all follows no
  // links.
  std::error_code error;
  const auto path = std::filesystem::path("/proc/self/fd") / std::to_string(directory.get()) / last;
  const auto removed = std::filesystem::remove_all(path, error);
  return !error && removed > 0;
}

}  // namespace geoloom::base
