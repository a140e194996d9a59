#include <gtest/gtest.h>

#include "geoloom/base/PrintableText.h"

namespace geoloom::base {
namespace {

TEST(PrintableText, EscapesControlAndFormatCharacters) {
  const std::pair<std::string, std::string> cases[] = {
      {"a room, Zürich 部屋 🪑", "a room, Zürich 部屋 🪑"},
      {"\x1b[31mred\x07", "\\u{1b}[31mred\\u{7}"},
      {"two\nlines\r\t", "two\\nlines\\u{d}\\u{9}"},
      {"\u009b31m", "\\u{9b}31m"},
      {"\u202egnp.exe\u2066", "\\u{202e}gnp.exe\\u{2066}"},
      {"line\u2028line", "line\\u{2028}line"},
      {"\xff\xc3(", "\\xff\\xc3("},
      {std::string("a\0b", 3), "a\\u{0}b"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(printable(text), shown);
}

}  // namespace
}  // namespace geoloom::base
