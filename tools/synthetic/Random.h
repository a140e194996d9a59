#pragma once

#include <random>

namespace geoloom::tools {

/// Uniform numbers in [0, 1), the same on every machine (the standard's distributions are not).
class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  float operator()() { return static_cast<float>(engine_() >> 8U) / 16777216.0F; }

 private:
  std::mt19937 engine_;
};

}  // namespace geoloom::tools
