#include "geoloom/storage/directories.h"

#include <string>

#include "geoloom/base/PrivateDirectory.h"
#include "geoloom/platform/foundation/BlockingMutexLock.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom {
namespace {

/// One at a time: sessions that start together empty the same directory. A disk can be slow.
base::Mutex& turn() {
  static auto& turn = *new base::Mutex;
  return turn;
}

void logCreated(bool success, std::string_view name) {
  platform::SystemLog::log(
      std::string(success ? "created directory " : "failed to create directory ").append(name));
}

void logRemoved(bool success, std::string_view name) {
  platform::SystemLog::log(
      std::string(success ? "remove directory " : "failed to remove directory ").append(name));
}

}  // namespace

void createDirectory(std::string_view name) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  bool done = false;
  {
    const platform::BlockingMutexLock lock(turn());
    done = base::createPrivateDirectory(*documents, name);
  }
  logCreated(done, name);
}

void removeDirectory(std::string_view name) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  bool done = false;
  {
    const platform::BlockingMutexLock lock(turn());
    done = base::removeBelow(*documents, name);
  }
  logRemoved(done, name);
}

void replaceDirectory(std::string_view removed, std::string_view created) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  bool isRemoved = false;
  bool isCreated = false;
  {
    const platform::BlockingMutexLock lock(turn());
    isRemoved = base::removeBelow(*documents, removed);
    isCreated = base::createPrivateDirectory(*documents, created);
  }
  logRemoved(isRemoved, removed);
  logCreated(isCreated, created);
}

}  // namespace geoloom
