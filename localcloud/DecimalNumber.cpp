#include "localcloud/DecimalNumber.h"

#include <algorithm>

#include <fmt/format.h>

#include "localcloud/TableError.h"

namespace geoloom::localcloud {

namespace {

constexpr std::size_t MAXIMUM_DIGITS = 38;
constexpr int LARGEST_EXPONENT = 126;    // of 0.digits form: below 1e126
constexpr int SMALLEST_EXPONENT = -129;  // from 1e-130 on
constexpr int EXPONENT_BIAS = 500;
// Larger exponents are out of range with any digits, since bodies are shorter than this.
constexpr int EXPONENT_CLAMP = 100'000'000;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view takeDigits(std::string_view& rest) {
  const auto end = std::find_if_not(rest.begin(), rest.end(), isDigit);
  const std::string_view digits = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
  rest.remove_prefix(digits.size());
  return digits;
}

bool takeSign(std::string_view& rest) {
  if (rest.empty() || (rest.front() != '-' && rest.front() != '+')) return false;
  const bool negative = rest.front() == '-';
  rest.remove_prefix(1);
  return negative;
}

int exponentOf(std::string_view digits, bool negative) {
  int value = 0;
  for (const char digit : digits) value = std::min(value * 10 + (digit - '0'), EXPONENT_CLAMP);
  return negative ? -value : value;
}

}  // namespace

DecimalNumber::DecimalNumber(std::string_view text) {
  std::string_view rest = text;
  negative_ = takeSign(rest);
  const std::string_view whole = takeDigits(rest);
  std::string_view fraction;
  if (!rest.empty() && rest.front() == '.') {
    rest.remove_prefix(1);
    fraction = takeDigits(rest);
  }
  bool valid = !(whole.empty() && fraction.empty());
  if (valid && !rest.empty() && (rest.front() == 'e' || rest.front() == 'E')) {
    rest.remove_prefix(1);
    const bool negativeExponent = takeSign(rest);
    const std::string_view digits = takeDigits(rest);
    valid = !digits.empty();
    exponent_ = exponentOf(digits, negativeExponent);
  }
  if (!valid || !rest.empty()) {
    throw TableError::validation(
        fmt::format("The parameter cannot be converted to a numeric value: {}", text));
  }

  digits_.append(whole).append(fraction);
  exponent_ += static_cast<int>(whole.size());
  const std::size_t leading = std::min(digits_.find_first_not_of('0'), digits_.size());
  digits_.erase(0, leading);
  exponent_ -= static_cast<int>(leading);
  digits_.erase(digits_.find_last_not_of('0') + 1);
  if (digits_.empty()) {
    negative_ = false;
    exponent_ = 0;
    return;
  }
  if (digits_.size() > MAXIMUM_DIGITS) {
    throw TableError::validation("Attempting to store more than 38 significant digits in a Number");
  }
  if (exponent_ > LARGEST_EXPONENT) {
    throw TableError::validation(
        "Number overflow. Attempting to store a number with magnitude larger than supported range");
  }
  if (exponent_ < SMALLEST_EXPONENT) {
    throw TableError::validation(
        "Number underflow. Attempting to store a number with magnitude smaller than supported range");
  }
}

std::string DecimalNumber::canonical() const {
  if (digits_.empty()) return "0";
  std::string text(negative_ ? "-" : "");
  if (exponent_ <= 0) {
    return text.append("0.").append(static_cast<std::size_t>(-exponent_), '0').append(digits_);
  }
  const auto whole = static_cast<std::size_t>(exponent_);
  if (whole >= digits_.size()) return text.append(digits_).append(whole - digits_.size(), '0');
  return text.append(digits_, 0, whole).append(".").append(digits_, whole);
}

std::string DecimalNumber::orderKey() const {
  if (digits_.empty()) return "1";
  if (!negative_) return fmt::format("2{:03}{}", exponent_ + EXPONENT_BIAS, digits_);
  // Complements reverse the order; the end mark is greater than every digit, so that -0.12 sorts before
  // -0.1.
  std::string key = fmt::format("0{:03}", EXPONENT_BIAS - exponent_);
  for (const char digit : digits_) key += static_cast<char>('9' - (digit - '0'));
  return key + '~';
}

}  // namespace geoloom::localcloud
