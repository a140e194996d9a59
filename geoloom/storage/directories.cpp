#include "geoloom/storage/directories.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom {
namespace {

void logOutcome(bool success, const char* done, const char* failed, std::string_view name) {
  platform::SystemLog::log(std::string(success ? done : failed).append(name));
}

}  // namespace

void createDirectory(std::string_view name) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  std::error_code error;
  std::filesystem::create_directories(*documents / name, error);
  logOutcome(!error, "created directory ", "failed to create directory ", name);
}

void removeDirectory(std::string_view name) {
  const auto documents = platform::FileManager::documentsDirectory();
  if (!documents) return;
  std::error_code error;
  const auto removed = std::filesystem::remove_all(*documents / name, error);
  logOutcome(!error && removed > 0, "remove directory ", "failed to remove directory ", name);
}

}  // namespace geoloom
