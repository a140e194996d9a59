#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/model/TFLite.h"

namespace geoloom::tools {

/// A single-shot detector in the layout that the kit reads.
struct CompiledSSD {
  std::string onnx;                 ///< the whole file
  std::size_t inputSide = 0;        ///< pixels; the input is square, red green blue
  std::size_t classes = 0;          ///< rows of the scores
  std::size_t anchors = 0;          ///< columns of both outputs
  std::vector<std::string> unused;  ///< labels that are no class of the kit
};

/// Names of the input, the scores and the box encodings in the compiled network.
inline constexpr const char* networkInput = "Preprocessor__sub__0";
inline constexpr const char* networkScores = "concat_1__0";
inline constexpr const char* networkBoxes = "concat__0";

/// Rewrites a detector with outputs [1, anchors, 4] (ty, tx, th, tw) and [1, anchors, labels] (raw logits) as
/// ONNX with scores [classes, anchors] and boxes [4, anchors]. Row c of the scores is class c of
/// `classNames`: the largest of the labels that mean it, or -20 where none does. `labels` name the columns of
/// the source's scores, the background first. Anchors of layers with six a cell are brought into the kit's
/// order; the grids must be the kit's 19, 10, 5, 3, 2, 1. Constants are widened, labels without a class are
/// left out, permutations are folded into the weights.
[[nodiscard]] base::Result<CompiledSSD> compileSSD(const TFLiteModel& model,
                                                   std::span<const std::string> labels,
                                                   std::span<const std::string> classNames);

}  // namespace geoloom::tools
