#include "tools/commands/JSONFile.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>

#include "tools/commands/Commands.h"

namespace geoloom::tools {
namespace {

/// Such a path may lead to a regular file that someone else is writing to: standard output, redirected.
bool isOpenStream(const std::string& path) {
  return path.starts_with("/dev/std") || path.starts_with("/dev/fd/") || path.starts_with("/proc/");
}

bool isReplaceable(const std::filesystem::path& path) {
  std::error_code ignored;
  const auto status = std::filesystem::status(path, ignored);
  return !isOpenStream(path.string()) &&
         (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status));
}

}  // namespace

JSONFile::JSONFile(std::filesystem::path path) : path_(std::move(path)), direct_(nullptr, &std::fclose) {
  if (path_.empty()) return;
  if (!isReplaceable(path_)) {
    direct_ = open(path_, "ab");
    return;
  }
  std::error_code error;
  // The file is replaced, not the link to it.
  if (const auto target = std::filesystem::canonical(path_, error); !error) path_ = target;
  temporary_ = path_.string() + ".tmp";
  // Not kept: whoever is interrupted leaves nothing behind.
  open(temporary_, "wb").reset();
  std::filesystem::remove(temporary_, error);
}

JSONFile::Stream JSONFile::open(const std::filesystem::path& path, const char* mode) const {
  Stream stream(std::fopen(path.c_str(), mode), &std::fclose);
  if (!stream) fail(errno);
  return stream;
}

void JSONFile::write(const nlohmann::ordered_json& json) {
  if (path_.empty()) return;
  const std::string text = json.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
  Stream stream = temporary_.empty() ? std::move(direct_) : open(temporary_, "wb");
  int error = 0;
  if (std::fwrite(text.data(), 1, text.size(), stream.get()) != text.size() || std::fflush(stream.get()) != 0)
    error = errno;
  if (std::fclose(stream.release()) != 0 && error == 0) error = errno;
  if (error == 0 && !temporary_.empty() && std::rename(temporary_.c_str(), path_.c_str()) != 0) error = errno;
  if (error == 0) return;
  std::error_code ignored;
  if (!temporary_.empty()) std::filesystem::remove(temporary_, ignored);
  fail(error);
}

void JSONFile::fail(int error) const {
  throw CommandError(ExitCode::badInput,
                     path_.string() + ": cannot be written: " + std::generic_category().message(error));
}

}  // namespace geoloom::tools
