#pragma once

#include <string>
#include <string_view>

#include "geoloom/base/Result.h"

#include "tools/model/TFJSModel.h"

namespace geoloom::tools {

/// A single-shot detector in the layout that the kit reads (docs/model-bundle.md).
struct CompiledSSD {
  std::string onnx;        ///< the whole file
  std::size_t side = 300;  ///< of the square input, pixels
  double divisor = 1;      ///< the network takes byte / divisor + offset
  double offset = 0;

  static constexpr std::size_t CLASSES = 91;  ///< rows of the scores, the background included
  static constexpr const char* INPUT = "Preprocessor__sub__0";
  static constexpr const char* SCORES = "concat_1__0";
  static constexpr const char* BOXES = "concat__0";
};

/// Compiles a TensorFlow.js graph model with the input "Preprocessor/sub", the box encodings "concat"
/// [1, 1917, 1, 4], the raw scores "concat_1" [1, 1917, 91] and the anchors "Postprocessor/ExpandDims" to
/// ONNX with scores [91, 1917] and box encodings [4, 1917]. Batch norms and additions of constants are folded
/// into the convolutions before them; columns are brought from the order of the file's anchors into that of
/// SSDAnchors. `name` stands at the front of a failure's message.
[[nodiscard]] base::Result<CompiledSSD> compileSSD(std::string_view modelJSON, const ShardReader& readShard,
                                                   const std::string& name);

}  // namespace geoloom::tools
