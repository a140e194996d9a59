#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <random>

namespace geoloom::tools::evaluation {

/// Random numbers that are the same on every machine (the standard's distributions are not).
class Chance {
 public:
  explicit Chance(std::uint64_t seed) : engine_(seed) {}

  double uniform(double low = 0, double high = 1) {
    return low + (high - low) * static_cast<double>(engine_() >> 11U) * 0x1p-53;
  }
  bool with(double probability) { return uniform() < probability; }
  std::size_t below(std::size_t count) {
    return static_cast<std::size_t>(uniform() * static_cast<double>(count));
  }
  double normal() {
    return std::sqrt(-2 * std::log(1 - uniform())) * std::cos(2 * std::numbers::pi * uniform());
  }
  template <class List>
  const auto& of(const List& list) {
    return list[below(list.size())];
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace geoloom::tools::evaluation
