#include "geoloom/platform/foundation/FileManager.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/platform/foundation/Bundle.h"

namespace geoloom::platform {

namespace {

using Path = std::filesystem::path;

/// The directories set in code. Never destroyed: sessions live until the process ends.
struct Overrides {
  base::AtomicValue<std::optional<Path>> documents;
  base::AtomicValue<std::optional<Path>> state;
};

Overrides& overrides() {
  static Overrides& value = *new Overrides;
  return value;
}

/// An absolute path from the environment; relative ones are ignored.
std::optional<Path> pathFromEnvironment(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here writes it
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return Path(value);
}

std::optional<Path> baseDirectory(const char* name, const char* belowHome) {
  if (std::optional<Path> path = pathFromEnvironment(name)) return path;
  if (const std::optional<Path> home = pathFromEnvironment("HOME")) return *home / belowHome;
  return std::nullopt;
}

std::optional<Path> dataHome() {
  return baseDirectory("XDG_DATA_HOME", ".local/share");
}

/// The bundle identifier as the name of one folder.
std::string folderName() {
  std::string name = Bundle::mainBundleIdentifier();
  std::replace(name.begin(), name.end(), '/', '_');
  std::replace(name.begin(), name.end(), '\0', '_');
  return name == "." || name == ".." || name.empty() ? "_" : name;
}

}  // namespace

std::vector<Path> FileManager::dataDirectories() {
  std::vector<Path> directories;
  if (std::optional<Path> home = dataHome()) directories.push_back(std::move(*home));
  const char* const value = std::getenv("XDG_DATA_DIRS");  // NOLINT(concurrency-mt-unsafe): as above
  std::istringstream list(value != nullptr && *value != '\0' ? value : "/usr/local/share:/usr/share");
  for (std::string directory; std::getline(list, directory, ':');) {
    if (directory.starts_with('/')) directories.emplace_back(directory);
  }
  return directories;
}

std::optional<Path> FileManager::documentsDirectory() {
  if (auto set = overrides().documents.load()) return set;
  const std::optional<Path> base = dataHome();
  if (!base) return std::nullopt;
  return *base / folderName() / "documents";
}

std::optional<Path> FileManager::stateDirectory() {
  if (auto set = overrides().state.load()) return set;
  const std::optional<Path> base = baseDirectory("XDG_STATE_HOME", ".local/state");
  if (!base) return std::nullopt;
  return *base / folderName();
}

void FileManager::setDocumentsDirectory(std::optional<Path> directory) {
  overrides().documents.store(std::move(directory));
}

void FileManager::setStateDirectory(std::optional<Path> directory) {
  overrides().state.store(std::move(directory));
}

}  // namespace geoloom::platform
