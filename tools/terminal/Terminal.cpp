#include "tools/terminal/Terminal.h"

#include <atomic>
#include <cstdio>

#include <fmt/format.h>

#include "geoloom/base/PrintableText.h"

namespace geoloom::tools {
namespace {

std::atomic<bool> isOutputForData = false;

void put(std::FILE* stream, std::string_view line) {
  const std::string text = base::printable(line) + '\n';
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

}  // namespace

void say(std::string_view line) {
  put(isOutputForData ? stderr : stdout, line);
}

void complain(std::string_view line) {
  put(stderr, line);
}

void keepStandardOutputForData() {
  isOutputForData = true;
}

std::string counted(std::size_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace geoloom::tools
