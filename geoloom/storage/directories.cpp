#include "geoloom/storage/directories.h"

#include <string>

#include "geoloom/base/PrivateDirectory.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom {

void createDirectory(std::string_view name) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  const bool done = base::createPrivateDirectory(*documents, name);
  platform::SystemLog::log(
      std::string(done ? "created directory " : "failed to create directory ").append(name));
}

void removeDirectory(std::string_view name) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  const bool done = base::removeBelow(*documents, name);
  platform::SystemLog::log(
      std::string(done ? "remove directory " : "failed to remove directory ").append(name));
}

}  // namespace geoloom
