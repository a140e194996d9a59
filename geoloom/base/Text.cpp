#include "geoloom/base/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>

#include <fmt/format.h>
#include <locale.h>
#include <utf8proc.h>

namespace geoloom::base {

namespace {

locale_t cLocale() {
  static locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

/// The shortest digits d1 d2 ... dn and the exponent e of d1.d2...dn x 10^e.
struct ShortestDigits {
  std::string digits;
  int exponent = 0;
};

template <typename Float>
ShortestDigits shortestDigits(Float magnitude) {
  std::array<char, 64> buffer{};
  const auto [end, error] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), magnitude, std::chars_format::scientific);
  const std::string_view written(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
  const std::size_t mark = written.find('e');
  ShortestDigits result;
  std::copy_if(written.begin(), written.begin() + static_cast<std::ptrdiff_t>(mark),
               std::back_inserter(result.digits), [](char c) { return c != '.'; });
  const char* exponent = written.data() + mark + 1;
  if (*exponent == '+') ++exponent;
  std::from_chars(exponent, end, result.exponent);
  return result;
}

std::string withExponent(const ShortestDigits& number) {
  std::string text(1, number.digits.front());
  if (number.digits.size() > 1) text.append(".").append(number.digits, 1);
  return text + fmt::format("e{}{:02}", number.exponent < 0 ? '-' : '+', std::abs(number.exponent));
}

std::string withoutExponent(const ShortestDigits& number) {
  const std::string& digits = number.digits;
  if (number.exponent < 0) {
    return "0." + std::string(static_cast<std::size_t>(-number.exponent - 1), '0') + digits;
  }
  const std::size_t whole = static_cast<std::size_t>(number.exponent) + 1;
  if (digits.size() <= whole) return digits + std::string(whole - digits.size(), '0') + ".0";
  return digits.substr(0, whole) + "." + digits.substr(whole);
}

template <typename Float>
std::string shortestText(Float value, Float largestPlain) {
  if (std::isnan(value)) return "nan";
  const std::string sign = std::signbit(value) ? "-" : "";
  if (std::isinf(value)) return sign + "inf";
  const Float magnitude = std::abs(value);
  const ShortestDigits number = shortestDigits(magnitude);
  const bool plain = magnitude == 0 || (number.exponent >= -4 && magnitude <= largestPlain);
  return sign + (plain ? withoutExponent(number) : withExponent(number));
}

bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::size_t digitsAt(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size() && isDigit(text[end])) ++end;
  return end - at;
}

/// Length of the decimal number that `text` begins with; 0 without one.
std::size_t decimalPrefix(std::string_view text) {
  std::size_t at = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
  const std::size_t whole = digitsAt(text, at);
  at += whole;
  std::size_t fraction = 0;
  if (at < text.size() && text[at] == '.') {
    fraction = digitsAt(text, at + 1);
    if (whole + fraction > 0) at += 1 + fraction;
  }
  if (whole + fraction == 0) return 0;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    std::size_t digits = at + 1;
    if (digits < text.size() && (text[digits] == '+' || text[digits] == '-')) ++digits;
    const std::size_t count = digitsAt(text, digits);
    if (count > 0) at = digits + count;
  }
  return at;
}

bool isASCII(std::string_view text) {
  return std::none_of(text.begin(), text.end(),
                      [](char c) { return (static_cast<unsigned char>(c) & 0x80U) != 0; });
}

/// The composed form, or nothing for text that is not UTF-8.
std::optional<std::string> composed(std::string_view text) {
  utf8proc_uint8_t* mapped = nullptr;
  const utf8proc_ssize_t length = utf8proc_map(
      reinterpret_cast<const utf8proc_uint8_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
      &mapped, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(mapped, &std::free);
  if (length < 0) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(length));
}

/// Length of what one U+FFFD stands for where `text` does not begin with a character: the part of one that is
/// cut off, else a single byte.
std::size_t brokenLength(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  const std::size_t length = lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 && lead < 0xF0 ? 3 : 1;
  // The second byte rules out overlong forms, surrogates and what lies above the last character.
  unsigned char lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  std::size_t at = 1;
  while (at < length && at < text.size() && byte(at) >= lowest && byte(at) <= highest) {
    ++at;
    lowest = 0x80;
    highest = 0xBF;
  }
  return at;
}

}  // namespace

std::string text(float value) {
  return shortestText(value, 16777216.0F);
}

std::string text(double value) {
  return shortestText(value, 9007199254740992.0);
}

std::string text(const std::optional<std::string>& value) {
  return value ? "Optional(\"" + *value + "\")" : "nil";
}

float lenientFloat(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  const std::string number(text.substr(0, decimalPrefix(text)));
  return number.empty() ? 0.0F : strtof_l(number.c_str(), nullptr, cLocale());
}

std::optional<float> strictFloat(std::string_view text) {
  if (text.empty() || isBlank(text.front())) return std::nullopt;
  const std::string number(text);
  char* end = nullptr;
  const float value = strtof_l(number.c_str(), &end, cLocale());
  if (end != number.c_str() + number.size()) return std::nullopt;
  return value;
}

bool canonicallyEqual(std::string_view a, std::string_view b) {
  if (a == b) return true;
  if (isASCII(a) && isASCII(b)) return false;
  const std::optional<std::string> left = composed(a);
  return left && left == composed(b);
}

std::size_t canonicalHash(std::string_view text) {
  if (isASCII(text)) return std::hash<std::string_view>{}(text);
  const std::optional<std::string> form = composed(text);
  return std::hash<std::string_view>{}(form ? std::string_view(*form) : text);
}

std::string validUTF8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    utf8proc_int32_t point = 0;
    const utf8proc_ssize_t length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                                     static_cast<utf8proc_ssize_t>(text.size()), &point);
    const std::size_t taken = length > 0 ? static_cast<std::size_t>(length) : brokenLength(text);
    result.append(length > 0 ? text.substr(0, taken) : "\xEF\xBF\xBD");
    text.remove_prefix(taken);
  }
  return result;
}

}  // namespace geoloom::base
