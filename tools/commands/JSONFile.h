#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>

#include <nlohmann/json_fwd.hpp>

namespace geoloom::tools {

/// The file that --json names. What stood there before stays until the new text is complete: that is written
/// beside it and takes its place, and its mode. Where nothing can be written beside it, and devices, pipes
/// and streams that are open already, are written directly.
class JSONFile {
 public:
  /// An empty path writes nothing. Throws CommandError where nothing could be written, so that nobody learns
  /// it only after a long replay.
  explicit JSONFile(std::filesystem::path path);

  /// Once. Bytes that are not UTF-8 become U+FFFD. Throws CommandError unless everything is written.
  void write(const nlohmann::ordered_json& json);

 private:
  using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

  [[nodiscard]] Stream open(const std::filesystem::path& path, const char* mode) const;
  [[noreturn]] void fail(int error) const;
  /// False where the text has to be written directly.
  bool replaceBy(const std::string& text) const;
  void put(Stream stream, const std::string& text) const;

  std::filesystem::path path_;
  Stream direct_;  ///< a device, a pipe or an open stream
};

}  // namespace geoloom::tools
