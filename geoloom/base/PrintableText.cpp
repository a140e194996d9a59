#include "geoloom/base/PrintableText.h"

#include <fmt/format.h>
#include <utf8proc.h>

namespace geoloom::base {

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    utf8proc_int32_t character = 0;
    const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                         static_cast<utf8proc_ssize_t>(text.size()), &character);
    const std::string_view bytes = text.substr(0, length > 0 ? static_cast<std::size_t>(length) : 1);
    text.remove_prefix(bytes.size());
    if (length <= 0) {
      result += fmt::format("\\x{:02x}", static_cast<unsigned char>(bytes.front()));
      continue;
    }
    switch (utf8proc_category(character)) {
      case UTF8PROC_CATEGORY_CC:
      case UTF8PROC_CATEGORY_CF:
      case UTF8PROC_CATEGORY_ZL:
      case UTF8PROC_CATEGORY_ZP:
        result += character == '\n' ? "\\n" : fmt::format("\\u{{{:x}}}", character);
        break;
      default:
        result += bytes;
    }
  }
  return result;
}

}  // namespace geoloom::base
