#pragma once

#include <limits>

#include <CLI/CLI.hpp>

/// Checks of numeric options. CLI11's own accept NaN and print bounds with all digits.
namespace geoloom::tools {

/// Above 0, finite and at most `most`.
[[nodiscard]] CLI::Validator aboveZero(double most = std::numeric_limits<double>::max());

/// 0 or more, and finite.
[[nodiscard]] CLI::Validator notNegative();

/// From `least` to `most`, both included.
[[nodiscard]] CLI::Validator between(double least, double most);

}  // namespace geoloom::tools
