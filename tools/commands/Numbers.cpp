#include "tools/commands/Numbers.h"

#include <string>

#include <fmt/format.h>

namespace geoloom::tools {
namespace {

template <class IsGood>
CLI::Validator number(const std::string& what, IsGood isGood) {
  const auto check = [what, isGood](const std::string& text) {
    double value = 0;
    const bool good = CLI::detail::lexical_cast(text, value) && isGood(value);
    return good ? std::string() : fmt::format("must be {}, not {}", what, text);
  };
  return CLI::Validator(check, what);
}

}  // namespace

CLI::Validator aboveZero(double most) {
  const bool isOpen = most == std::numeric_limits<double>::max();
  return number(isOpen ? "above 0" : fmt::format("above 0 and at most {}", most),
                [most](double value) { return value > 0 && value <= most; });
}

CLI::Validator notNegative() {
  return number("0 or more",
                [](double value) { return value >= 0 && value <= std::numeric_limits<double>::max(); });
}

CLI::Validator between(double least, double most) {
  return number(fmt::format("from {} to {}", least, most),
                [least, most](double value) { return value >= least && value <= most; });
}

}  // namespace geoloom::tools
