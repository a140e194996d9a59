#pragma once

#include <limits>

#include <CLI/CLI.hpp>

/// What the number of an option has to be. CLI11's own checks let NaN pass and print their bounds digit by
/// digit.
namespace geoloom::tools {

/// Above 0, finite and at most `most`.
[[nodiscard]] CLI::Validator aboveZero(double most = std::numeric_limits<double>::max());

/// 0 or more, and finite.
[[nodiscard]] CLI::Validator notNegative();

/// From `least` to `most`, both included.
[[nodiscard]] CLI::Validator between(double least, double most);

}  // namespace geoloom::tools
