#pragma once

#include <string>
#include <string_view>

namespace geoloom::localcloud {

/// A number attribute: up to 38 significant decimal digits with a magnitude from 1e-130 to just below 1e126,
/// or zero.
class DecimalNumber {
 public:
  /// Throws TableError if the text is not a number or out of range.
  explicit DecimalNumber(std::string_view text);

  /// The form of numbers in answers: no exponent, no redundant zero or sign.
  [[nodiscard]] std::string canonical() const;

  /// A text whose order by bytes is the order of the numbers.
  [[nodiscard]] std::string orderKey() const;

 private:
  bool negative_ = false;
  std::string digits_;  ///< without leading and trailing zeros; empty for zero
  int exponent_ = 0;    ///< the value is 0.digits · 10^exponent
};

}  // namespace geoloom::localcloud
