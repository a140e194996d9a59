#pragma once

namespace geoloom::platform {

/// How exactly a network computes.
enum class MLModelPrecision {
  float32,   ///< on every processor
  bfloat16,  ///< on processors with AVX-512 BF16 or AMX, elsewhere float32; docs/model-bundle.md says what it
             ///< loses
};

}  // namespace geoloom::platform
