#include "geoloom/platform/device/UIDevice.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "geoloom/base/Descriptor.h"
#include "geoloom/base/PrivateDirectory.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/FileManager.h"

namespace geoloom::platform {

namespace {

/// The value of VERSION_ID in an os-release file, without its quotation marks; empty if missing.
std::string versionOf(const std::string& osRelease) {
  constexpr std::string_view KEY = "VERSION_ID=";
  std::istringstream lines(osRelease);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(KEY)) continue;
    std::erase_if(line, [](char c) { return c == '"' || c == '\''; });
    return line.substr(KEY.size());
  }
  return {};
}

constexpr std::size_t UUID_LENGTH = 36;

bool isUUID(std::string_view text) {
  if (text.size() != UUID_LENGTH) return false;
  for (std::size_t i = 0; i < UUID_LENGTH; ++i) {
    const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
    const bool hexadecimal = (text[i] >= '0' && text[i] <= '9') || (text[i] >= 'A' && text[i] <= 'F');
    if (hyphen ? text[i] != '-' : !hexadecimal) return false;
  }
  return true;
}

/// A version 4 UUID; absent if the system provides no random numbers.
std::optional<std::string> randomUUID() {
  std::array<std::uint8_t, 16> bytes{};
  if (::getentropy(bytes.data(), bytes.size()) != 0) return std::nullopt;
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    fmt::format_to(std::back_inserter(text), "{:02X}", bytes[i]);
  }
  return text;
}

std::optional<std::string> readUUID(const base::Descriptor& file) {
  std::array<char, UUID_LENGTH> text{};
  if (::pread(file.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
    return std::nullopt;
  const std::string_view read(text.data(), text.size());
  return isUUID(read) ? std::optional<std::string>(read) : std::nullopt;
}

bool writeUUID(const base::Descriptor& file, const std::string& uuid) {
  const std::string line = uuid + "\n";
  return ::fchmod(file.get(), S_IRUSR | S_IWUSR) == 0 && ::ftruncate(file.get(), 0) == 0 &&
         ::pwrite(file.get(), line.data(), line.size(), 0) == static_cast<ssize_t>(line.size()) &&
         ::fsync(file.get()) == 0;
}

/// The UUID stored in `path`; creates one if the file is missing or damaged.
std::optional<std::string> keptUUID(const std::filesystem::path& path) {
  const base::Descriptor file(
      ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (!file) {
    const base::Descriptor readOnly(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    return readOnly ? readUUID(readOnly) : std::nullopt;
  }
  // The first to get the lock writes; others, also in other processes, then read the same UUID.
  int locked = -1;
  do locked = ::flock(file.get(), LOCK_EX);
  while (locked != 0 && errno == EINTR);
  if (locked != 0) return std::nullopt;
  if (std::optional<std::string> kept = readUUID(file)) return kept;
  std::optional<std::string> made = randomUUID();
  return made && writeUUID(file, *made) ? made : std::nullopt;
}

}  // namespace

const UIDevice& UIDevice::current() {
  static const UIDevice device;
  return device;
}

std::string UIDevice::systemVersion() const {
  std::string text = base::contentOf("/etc/os-release");
  if (text.empty()) text = base::contentOf("/usr/lib/os-release");
  return versionOf(text);
}

std::string UIDevice::modelIdentifier() const {
  utsname system{};
  ::uname(&system);
  std::string identifier;
  std::copy_if(std::begin(system.machine), std::end(system.machine), std::back_inserter(identifier),
               [](char c) { return c != '\0'; });
  return identifier;
}

std::optional<std::string> UIDevice::identifierForVendor() const {
  const std::optional<std::filesystem::path> directory = FileManager::stateDirectory();
  if (!directory) return std::nullopt;
  base::createPrivateDirectories(*directory);
  return keptUUID(*directory / "vendor-identifier");
}

}  // namespace geoloom::platform
