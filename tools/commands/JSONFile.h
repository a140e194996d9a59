#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>

#include <nlohmann/json_fwd.hpp>

namespace geoloom::tools {

/// The file of the option --json; "-" is standard output, and lines for people then go to standard error. An
/// existing file is replaced only by a complete new one with the same mode, written beside it. Devices,
/// pipes, open streams and files in folders that cannot be written are written directly.
class JSONFile {
 public:
  /// An empty path writes nothing. Throws CommandError if the file cannot be written, so that a long replay
  /// fails before it starts.
  explicit JSONFile(std::filesystem::path path);

  /// Call once. Bytes that are not UTF-8 become U+FFFD. Throws CommandError unless everything is written.
  void write(const nlohmann::ordered_json& json);

 private:
  using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

  [[nodiscard]] Stream open(const std::filesystem::path& path, const char* mode) const;
  [[noreturn]] void fail(int error) const;
  /// False if the text has to be written directly.
  bool replaceBy(const std::string& text) const;
  /// Writes in place; removes a new file that could not be written completely.
  void putNew(const std::string& text) const;
  void put(Stream stream, const std::string& text) const;

  std::filesystem::path path_;
  Stream direct_;  ///< a device, a pipe or an open stream
};

}  // namespace geoloom::tools
