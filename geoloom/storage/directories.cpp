#include "geoloom/storage/directories.h"

#include <string>

#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/foundation/Mutex.h"
#include "geoloom/platform/foundation/PrivateDirectory.h"

namespace geoloom {
namespace {

using Operation = bool (*)(const std::filesystem::path& root, std::string_view name);

/// One at a time: sessions that start together empty the same directory.
bool inTurn(Operation operation, const std::filesystem::path& documents, std::string_view name) {
  static platform::Mutex turn;
  const platform::MutexLock lock(turn);
  return operation(documents, name);
}

void logOutcome(bool success, const char* done, const char* failed, std::string_view name) {
  platform::SystemLog::log(std::string(success ? done : failed).append(name));
}

}  // namespace

void createDirectory(std::string_view name) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  logOutcome(inTurn(platform::createPrivateDirectory, *documents, name), "created directory ",
             "failed to create directory ", name);
}

void removeDirectory(std::string_view name) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  logOutcome(inTurn(platform::removeBelow, *documents, name), "remove directory ",
             "failed to remove directory ", name);
}

}  // namespace geoloom
