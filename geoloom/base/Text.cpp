#include "geoloom/base/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>

#include <locale.h>
#include <utf8proc.h>

namespace geoloom::base {

namespace {

locale_t cLocale() {
  static locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

template <typename Float>
std::string shortestText(Float value, Float largestPlain) {
  if (std::isnan(value)) return "nan";
  const Float magnitude = std::abs(value);
  const bool isPlain = magnitude == 0 || (magnitude >= static_cast<Float>(1e-4) && magnitude <= largestPlain);
  std::array<char, 64> buffer{};
  const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                     isPlain ? std::chars_format::fixed : std::chars_format::scientific);
  std::string text(buffer.data(), written.ptr);
  if (isPlain && text.find('.') == std::string::npos) text += ".0";
  return text;
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
  const std::string number(text);
  const std::size_t first = number.find_first_not_of(" \t\n\v\f\r+-");
  if (first == std::string::npos) return 0;
  // strtof also reads "inf", "nan" and hexadecimal numbers.
  const std::string_view digits = std::string_view(number).substr(first);
  const bool isDecimal = digits[0] == '.' || (digits[0] >= '0' && digits[0] <= '9');
  if (!isDecimal || digits.starts_with("0x") || digits.starts_with("0X")) return 0;
  return strtof_l(number.c_str(), nullptr, cLocale());
}

std::optional<float> strictFloat(std::string_view text) {
  if (text.empty() || std::string_view(" \t\n\v\f\r").find(text.front()) != std::string_view::npos)
    return std::nullopt;
  const std::string number(text);
  char* end = nullptr;
  const float value = strtof_l(number.c_str(), &end, cLocale());
  if (end != number.c_str() + number.size()) return std::nullopt;
  return value;
}

bool canonicallyEqual(std::string_view a, std::string_view b) {
  if (a == b) return true;
  const std::optional<std::string> left = composed(a);
  return left && left == composed(b);
}

std::size_t canonicalHash(std::string_view text) {
  const std::optional<std::string> form = composed(text);
  return std::hash<std::string_view>{}(form ? std::string_view(*form) : text);
}

}  // namespace geoloom::base
