#include "geoloom/platform/foundation/Bundle.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/ApplicationIdentity.h"
#include "geoloom/platform/foundation/FileManager.h"

namespace geoloom::platform {

namespace {

/// The identifier set in code, or empty. Never destroyed: sessions live until the process ends.
base::AtomicValue<std::string>& identifierSet() {
  static auto& identifier = *new base::AtomicValue<std::string>;
  return identifier;
}

std::string executableName() {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return program_invocation_short_name;
  std::string name = executable.filename().string();
  // The system adds this if the file was removed, as by an upgrade of the package.
  constexpr std::string_view GONE = " (deleted)";
  if (name.ends_with(GONE) && !std::filesystem::exists(executable, error))
    name.resize(name.size() - GONE.size());
  return name;
}

/// True if a desktop entry of that name starts this executable.
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
  if (auto identifier = identifierSet().load(); !identifier.empty()) return identifier;
  static const std::string& identifier = *new std::string(identifierFromSystem());
  return identifier;
}

void Bundle::setMainBundleIdentifier(std::string identifier) {
  identifierSet().store(std::move(identifier));
}

}  // namespace geoloom::platform
