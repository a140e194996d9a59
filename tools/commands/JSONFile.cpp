#include "tools/commands/JSONFile.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "geoloom/base/ScopeExit.h"

#include "tools/commands/Commands.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

/// True for paths of open streams, which may be regular files: standard output, redirected.
bool isOpenStream(const std::string& path) {
  return path.starts_with("/dev/std") || path.starts_with("/dev/fd/") || path.starts_with("/proc/");
}

bool isReplaceable(const std::filesystem::path& path) {
  std::error_code ignored;
  const auto status = std::filesystem::status(path, ignored);
  return !isOpenStream(path.string()) &&
         (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status));
}

/// The target of a symbolic link, which need not exist.
std::filesystem::path targetOf(std::filesystem::path path) {
  constexpr int MOST = 40;
  std::error_code error;
  for (int i = 0; i < MOST && std::filesystem::is_symlink(path, error); ++i)
    path = path.parent_path() / std::filesystem::read_symlink(path, error);
  return path;
}

}  // namespace

JSONFile::JSONFile(std::filesystem::path path) : path_(std::move(path)), direct_(nullptr, &std::fclose) {
  if (path_.empty()) return;
  if (path_ == "-") {
    path_ = "/dev/stdout";
    keepStandardOutputForData();
  }
  if (!isReplaceable(path_)) {
    direct_ = open(path_, "ab");
    return;
  }
  path_ = targetOf(path_);
  std::error_code error;
  const bool isThere = std::filesystem::exists(path_, error);
  // Appending nothing tests for permission and leaves the content as it was.
  open(path_, "ab").reset();
  if (!isThere) std::filesystem::remove(path_, error);
}

JSONFile::Stream JSONFile::open(const std::filesystem::path& path, const char* mode) const {
  Stream stream(std::fopen(path.c_str(), mode), &std::fclose);
  if (!stream) fail(errno);
  return stream;
}

void JSONFile::write(const nlohmann::ordered_json& json) {
  if (path_.empty()) return;
  const std::string text = json.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
  if (direct_) {
    std::fflush(stdout);  // it may be the same stream
    put(std::move(direct_), text);
  } else if (!replaceBy(text)) {
    putNew(text);
  }
}

bool JSONFile::replaceBy(const std::string& text) const {
  struct stat earlier {};
  // A new file has no content to protect; renaming over a hard link would leave the file's other names
  // unchanged.
  if (::stat(path_.c_str(), &earlier) != 0 || earlier.st_nlink > 1) return false;
  std::string temporary = path_.string() + ".XXXXXX";
  const int file = ::mkstemp(temporary.data());
  if (file < 0) return false;
  const base::ScopeExit clean([&] { ::unlink(temporary.c_str()); });  // fails once it is renamed
  ::fchmod(file, earlier.st_mode & 07777U);
  put(Stream(::fdopen(file, "wb"), &std::fclose), text);
  return std::rename(temporary.c_str(), path_.c_str()) == 0;
}

void JSONFile::putNew(const std::string& text) const {
  std::error_code error;
  const bool isThere = std::filesystem::exists(path_, error);
  try {
    put(open(path_, "wb"), text);
  } catch (const CommandError&) {
    if (!isThere) std::filesystem::remove(path_, error);
    throw;
  }
}

void JSONFile::put(Stream stream, const std::string& text) const {
  int error = 0;
  if (std::fwrite(text.data(), 1, text.size(), stream.get()) != text.size() || std::fflush(stream.get()) != 0)
    error = errno;
  if (std::fclose(stream.release()) != 0 && error == 0) error = errno;
  if (error != 0) fail(error);
}

void JSONFile::fail(int error) const {
  throw CommandError(ExitCode::badInput,
                     path_.string() + ": cannot be written: " + std::generic_category().message(error));
}

}  // namespace geoloom::tools
