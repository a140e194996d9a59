#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace geoloom::base {

/// The shortest decimal text that reads back to the same value, always with a fractional part or an exponent:
/// "1.0", "0.1", "-0.0", "1e-05", "nan", "inf". Exponents are used below 1e-4 and above 2^24 (float) or 2^53
/// (double). Independent of the locale.
[[nodiscard]] std::string text(float value);
[[nodiscard]] std::string text(double value);

/// "Optional("M1")" with its quotation marks, or "nil".
[[nodiscard]] std::string text(const std::optional<std::string>& value);

/// The longest decimal number (sign, digits, point, exponent) that `text` begins with after leading blanks; 0
/// without one.
[[nodiscard]] float lenientFloat(std::string_view text);

/// The value of `text` if all of it is one number as strtof reads it in the C locale (signs,
/// exponents, hexadecimal, inf and nan included), with nothing before or after it.
[[nodiscard]] std::optional<float> strictFloat(std::string_view text);

/// Canonical equality: composed and decomposed forms are equal. Text that is not UTF-8 is compared byte by
/// byte.
[[nodiscard]] bool canonicallyEqual(std::string_view a, std::string_view b);
/// Agrees with canonicallyEqual.
[[nodiscard]] std::size_t canonicalHash(std::string_view text);

}  // namespace geoloom::base
