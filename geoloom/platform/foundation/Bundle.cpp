#include "geoloom/platform/foundation/Bundle.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "geoloom/base/Mutex.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/ApplicationIdentity.h"
#include "geoloom/platform/foundation/FileManager.h"

namespace geoloom::platform {

namespace {

struct MainBundle {
  base::Mutex mutex;
  std::string identifier GEOLOOM_GUARDED_BY(mutex);
};

MainBundle& mainBundle() {
  static MainBundle& bundle = *new MainBundle;
  return bundle;
}

std::string executableName() {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return program_invocation_short_name;
  std::string name = executable.filename().string();
  // What the system adds once the file is gone, as when the package is upgraded meanwhile.
  constexpr std::string_view gone = " (deleted)";
  if (name.ends_with(gone) && !std::filesystem::exists(executable, error))
    name.resize(name.size() - gone.size());
  return name;
}

/// Whether the desktop knows the application by an entry that starts this executable.
bool isDesktopApplication(const std::string& identifier, const std::string& executable) {
  if (identifier.empty() || identifier.find('/') != std::string::npos) return false;
  const auto directories = FileManager::dataDirectories();
  return std::any_of(directories.begin(), directories.end(), [&](const std::filesystem::path& directory) {
    return desktopEntryStarts(base::contentOf(directory / "applications" / (identifier + ".desktop")),
                              executable);
  });
}

std::string identifierFromSystem() {
  if (auto identifier = flatpakIdentifier(base::contentOf("/.flatpak-info")); !identifier.empty())
    return identifier;
  auto executable = executableName();
  auto identifier = desktopIdentifier(base::contentOf("/proc/self/cgroup"));
  return isDesktopApplication(identifier, executable) ? identifier : executable;
}

}  // namespace

std::string Bundle::mainBundleIdentifier() {
  {
    MainBundle& bundle = mainBundle();
    const base::MutexLock lock(bundle.mutex);
    if (!bundle.identifier.empty()) return bundle.identifier;
  }
  static const std::string& identifier = *new std::string(identifierFromSystem());
  return identifier;
}

void Bundle::setMainBundleIdentifier(std::string identifier) {
  MainBundle& bundle = mainBundle();
  const base::MutexLock lock(bundle.mutex);
  bundle.identifier = std::move(identifier);
}

}  // namespace geoloom::platform
