#include "geoloom/platform/foundation/LibraryBundle.h"

#include <map>

#include <dlfcn.h>

#include "geoloom/base/Mutex.h"

namespace geoloom::platform {

namespace {

struct Places {
  base::Mutex mutex;
  std::map<std::string, std::filesystem::path> paths GEOLOOM_GUARDED_BY(mutex);
};

/// Never destroyed: a session may use it while the process ends.
Places& places() {
  static Places& instance = *new Places;
  return instance;
}

std::string fileName(std::string_view name, std::string_view extension) {
  return std::string(name) + "." + std::string(extension);
}

/// Folder of the file that contains this function.
std::filesystem::path ownFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&ownFolder), &info) == 0 || info.dli_fname == nullptr) return {};
  std::error_code error;
  // For a program found through PATH, dli_fname is its bare name.
  const auto own = std::filesystem::canonical(info.dli_fname, error);
  return error ? std::filesystem::canonical("/proc/self/exe", error).parent_path() : own.parent_path();
}

}  // namespace

std::optional<std::filesystem::path> LibraryBundle::pathForResource(std::string_view name,
                                                                    std::string_view extension) {
  const std::string file = fileName(name, extension);
  {
    const base::MutexLock guard(places().mutex);
    const auto said = places().paths.find(file);
    if (said != places().paths.end()) return said->second;
  }
  const auto folder = ownFolder();
  std::error_code error;
  for (const char* place : {"", "geoloom", "../geoloom", ("../" GEOLOOM_INSTALL_LIBDIR "/geoloom"),
                            "../share/geoloom", "../../share/geoloom"}) {
    auto path = (folder / place / file).lexically_normal();
    if (std::filesystem::exists(path, error)) return path;
  }
  return std::nullopt;
}

void LibraryBundle::setPathForResource(std::string_view name, std::string_view extension,
                                       std::filesystem::path path) {
  const base::MutexLock guard(places().mutex);
  if (path.empty()) {
    places().paths.erase(fileName(name, extension));
  } else {
    places().paths[fileName(name, extension)] = std::move(path);
  }
}

}  // namespace geoloom::platform
