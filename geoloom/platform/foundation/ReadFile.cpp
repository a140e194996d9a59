#include "geoloom/platform/foundation/ReadFile.h"

#include <fstream>
#include <iterator>

namespace geoloom::platform {

Result<std::string> readFile(const std::filesystem::path& path, std::uint64_t maximumBytes) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error))
    return Failure{path.string() + ": there is no such file"};
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const auto end = file ? static_cast<std::streamoff>(file.tellg()) : std::streamoff{-1};
  if (end < 0) return Failure{path.string() + ": cannot be opened"};
  if (static_cast<std::uint64_t>(end) > maximumBytes) {
    return Failure{path.string() + ": is larger than " + std::to_string(maximumBytes) + " bytes"};
  }
  std::string bytes(static_cast<std::size_t>(end), '\0');
  file.seekg(0);
  if (!file.read(bytes.data(), end)) return Failure{path.string() + ": cannot be read"};
  return bytes;
}

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace geoloom::platform
