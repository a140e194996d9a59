#include "geoloom/base/ReadFile.h"

#include <fstream>
#include <iterator>
#include <vector>

namespace geoloom::base {

Result<std::string> readFile(const std::filesystem::path& path, std::uint64_t maximumBytes) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (std::filesystem::is_other(status)) return Failure{path.string() + ": is not a regular file"};
  return readFileOrPipe(path, maximumBytes);
}

Result<std::string> readFileOrPipe(const std::filesystem::path& path, std::uint64_t maximumBytes) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) return Failure{path.string() + ": is a directory"};
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    const bool exists = std::filesystem::exists(path, error);
    return Failure{path.string() + (exists ? ": cannot be opened" : ": there is no such file")};
  }
  // In pieces: the length of a pipe is not known.
  std::string bytes;
  std::vector<char> piece(std::size_t{1} << 16);
  while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())) || file.gcount() > 0) {
    bytes.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    if (bytes.size() > maximumBytes)
      return Failure{path.string() + ": is larger than " + std::to_string(maximumBytes) + " bytes"};
  }
  if (file.bad()) return Failure{path.string() + ": cannot be read"};
  return bytes;
}

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace geoloom::base
