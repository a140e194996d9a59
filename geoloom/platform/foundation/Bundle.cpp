#include "geoloom/platform/foundation/Bundle.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "geoloom/platform/foundation/Mutex.h"

namespace geoloom::platform {

namespace {

struct MainBundle {
  Mutex mutex;
  std::string identifier GEOLOOM_GUARDED_BY(mutex);
};

MainBundle& mainBundle() {
  static MainBundle& bundle = *new MainBundle;
  return bundle;
}

std::string executableName() {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string(program_invocation_short_name) : executable.filename().string();
}

}  // namespace

std::string Bundle::mainBundleIdentifier() {
  {
    MainBundle& bundle = mainBundle();
    const MutexLock lock(bundle.mutex);
    if (!bundle.identifier.empty()) return bundle.identifier;
  }
  return executableName();
}

void Bundle::setMainBundleIdentifier(std::string identifier) {
  MainBundle& bundle = mainBundle();
  const MutexLock lock(bundle.mutex);
  bundle.identifier = std::move(identifier);
}

}  // namespace geoloom::platform
